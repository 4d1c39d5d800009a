#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/KIVExport.h>
#include <kiv/KIVNonnullString.h>

class KIVConfiguration;
class KIVFeatureFlagsRepository;
class KIVFeatureFlagsSetter;
class KIVVariantTableViewCell;
struct KIVFlagsAlert;

/// The flags screen without a toolkit: every registered flag, grouped by namespace, to search, override and
/// reset. `KIVCore::flagsViewController` hands one out; a toolkit draws it (docs/flags-screen.md).
///
/// The grouping is made on load and by each search; flags that are registered meanwhile are not in it. Values
/// are read as cells are made. Reading them makes no impression and freezes nothing. It ends with
/// `KIVCore::shutdown` and another key's setup, which take it away: let go of it then. One thread at a time
/// may use it; `done` and `setView` may be called from any.
class KIV_API KIVFlagsViewController : public std::enable_shared_from_this<KIVFlagsViewController> {
public:
    /// What whoever draws the screen does. Each may be empty; each runs on the thread that caused it.
    struct View {
        std::function<void()> reloadData;                  ///< draw all rows anew
        std::function<void(const KIVFlagsAlert&)> present; ///< show a choice above the screen
        std::function<void()> dismiss;                     ///< take the screen away
    };

    struct Section {
        std::string title;
        std::vector<std::string> names; ///< full flag names
    };

    struct IndexPath {
        std::size_t section = 0;
        std::size_t row = 0;
    };

    struct SearchBar {
        double height = 56; ///< points; it is as wide as the screen
        std::string text;
    };

    /// What swiping a row shows. Its background is the screen's tint.
    struct RowAction {
        std::string title;
        std::function<void()> handler;
    };

    struct BarButtonItem {
        std::string title; ///< empty for a flexible space
        std::function<void()> action;
    };

    struct Toolbar {
        double height = 0; ///< points; it is as wide as the screen
        std::vector<BarButtonItem> items;
    };

    /// Shows the screen beside the view, and is told when to stop, on whatever thread that is: by each
    /// `done`, also when it does not show it.
    class Presenter {
    public:
        virtual ~Presenter() = default;
        virtual void dismiss() = 0;
    };

    /// For the library. It begins without rows.
    KIVFlagsViewController(std::shared_ptr<KIVFeatureFlagsSetter> setter,
                           std::shared_ptr<KIVConfiguration> configuration,
                           std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository);
    ~KIVFlagsViewController();
    KIVFlagsViewController(const KIVFlagsViewController&) = delete;
    KIVFlagsViewController& operator=(const KIVFlagsViewController&) = delete;

    /// Puts whoever draws the screen in the place of the one before.
    void setView(View view);

    /// To be called once, before the screen is drawn: groups the flags.
    void viewDidLoad();

    /// To be called each time the screen comes up. Inside a navigation controller "Reset All" stands in its
    /// bar; otherwise in a toolbar above the rows, below what the system takes of the top.
    void viewWillAppear(bool isInNavigationController, double topLayoutGuideLength = 0);

    const std::string& title() const { return title_; }
    const SearchBar& searchbar() const { return searchbar_; }
    const std::optional<BarButtonItem>& rightBarButtonItem() const { return rightBarButtonItem_; }
    const std::optional<Toolbar>& tableHeaderView() const { return tableHeaderView_; }
    bool allowsSelection() const { return allowsSelection_; }
    bool extendedLayoutIncludesOpaqueBars() const { return extendedLayoutIncludesOpaqueBars_; }

    /// Takes the screen away, from the view and from all presenters. Callable from any thread.
    void done();

    /// For the library: takes the screen away for good, as its client shows these flags no more. Callable
    /// from any thread, as the next two. A presenter is added once, however often that is asked for.
    void end();
    bool hasEnded() const { return hasEnded_; }
    void addPresenter(std::weak_ptr<Presenter> presenter);

    /// Sections stand in the order in which their first flag comes among all names, sorted regardless of case
    /// by the host's locale.
    const std::vector<Section>& namespacesToFeatures() const { return namespacesToFeatures_; }
    std::size_t numberOfSectionsInTableView() const { return namespacesToFeatures_.size(); }
    std::size_t numberOfRowsInSection(std::size_t section) const;
    /// Empty when there is no such section.
    std::string titleForHeaderInSection(std::size_t section) const;

    /// A cell that shows the flag as it is now; null when there is no such row, or its flag is registered no
    /// more.
    std::shared_ptr<KIVVariantTableViewCell> cellForRowAtIndexPath(IndexPath indexPath);

    /// "Reset", which takes the override of the row's flag away and reloads; nothing when there is no such
    /// row.
    std::vector<RowAction> editActionsForRowAtIndexPath(IndexPath indexPath);
    /// Does nothing: that rows can be edited is what lets them be swiped.
    void commitEditingStyle(IndexPath) {}

    /// "Reset All": takes all overrides away, thaws the flags of level 1 and above, and reloads.
    void resetAllFlags();

    /// What the search bar tells of. A name of one component is found by the whole of it, any other by its
    /// second component alone; case does not count. The empty text shows all flags.
    void textDidChange(KIVNonnullString searchText);
    bool textFieldShouldReturn(KIVNonnullString searchText);
    void searchBarCancelButtonClicked();
    void onSearchChange(KIVNonnullString text);

    std::vector<Section> extractNamespacesToFeatures() const;
    std::vector<Section> searchFilterFeatures(KIVNonnullString query) const;

    /// Asks the view to draw all rows anew.
    void reloadData() const;
    /// Asks the view to show a choice.
    void present(const KIVFlagsAlert& alert) const;

    const std::shared_ptr<KIVFeatureFlagsSetter>& setter() const { return setter_; }
    const std::shared_ptr<KIVConfiguration>& configuration() const { return configuration_; }
    const std::shared_ptr<KIVFeatureFlagsRepository>& flagsRepository() const { return flagsRepository_; }

private:
    std::vector<std::string> sortedNames(const std::function<bool(std::string_view)>& isShown) const;
    const std::string* nameAt(IndexPath indexPath) const;
    std::shared_ptr<const View> view() const;

    const std::shared_ptr<KIVFeatureFlagsSetter> setter_;
    const std::shared_ptr<KIVConfiguration> configuration_;
    const std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository_;
    std::vector<Section> namespacesToFeatures_;
    std::string title_;
    SearchBar searchbar_;
    std::optional<BarButtonItem> rightBarButtonItem_;
    std::optional<Toolbar> tableHeaderView_;
    bool allowsSelection_ = true;
    bool extendedLayoutIncludesOpaqueBars_ = false;
    std::atomic<bool> hasEnded_{false};
    mutable std::mutex viewLock_; ///< for what follows; never held while a callback runs
    std::shared_ptr<const View> view_;
    std::vector<std::weak_ptr<Presenter>> presenters_;
};
