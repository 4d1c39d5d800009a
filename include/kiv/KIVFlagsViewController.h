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

/// The model of the flags screen: every registered flag, grouped by namespace, to search, override and reset.
/// It knows no toolkit: a view of the application draws it, or `KIVFlagsScreen` shows it as a page
/// (docs/flags-screen.md). `KIVCore::flagsViewController` makes one.
///
/// `viewDidLoad` and each search group the flags; a flag that is registered later appears with the next
/// search. A cell reads its flag's value when it is made; that makes no impression and freezes nothing.
/// `KIVCore::shutdown` and another key's setup end the model: they call `done`, and the application releases
/// it then. One thread at a time may use the model; any thread may call `done` and `setView`.
class KIV_API KIVFlagsViewController : public std::enable_shared_from_this<KIVFlagsViewController> {
public:
    /// The callbacks of whoever draws the model. Each may be empty; each runs on the thread that caused it.
    struct View {
        std::function<void()> reloadData;                  ///< draw all rows anew
        std::function<void(const KIVFlagsAlert&)> present; ///< show a choice above the rows
        std::function<void()> dismiss;                     ///< take the view away
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
        double height = 56; ///< points; it is as wide as the view
        std::string text;
    };

    /// A button that appears when a row is swiped. Its background has the view's tint.
    struct RowAction {
        std::string title;
        std::function<void()> handler;
    };

    struct BarButtonItem {
        std::string title; ///< empty for a flexible space
        std::function<void()> action;
    };

    struct Toolbar {
        double height = 0; ///< points; it is as wide as the view
        std::vector<BarButtonItem> items;
    };

    /// Shows the model in addition to the view. Each `done` calls `dismiss` on the thread that called `done`,
    /// also when the presenter shows nothing.
    class Presenter {
    public:
        virtual ~Presenter() = default;
        virtual void dismiss() = 0;
    };

    /// For the library: applications get a model from `KIVCore::flagsViewController`. A new model has no rows
    /// before `viewDidLoad`.
    KIVFlagsViewController(std::shared_ptr<KIVFeatureFlagsSetter> setter,
                           std::shared_ptr<KIVConfiguration> configuration,
                           std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository);
    ~KIVFlagsViewController();
    KIVFlagsViewController(const KIVFlagsViewController&) = delete;
    KIVFlagsViewController& operator=(const KIVFlagsViewController&) = delete;

    /// Replaces the view.
    void setView(View view);

    /// To be called once, before the view draws: groups the flags.
    void viewDidLoad();

    /// To be called each time the view comes up: sets the title and reloads. Inside a navigation controller
    /// "Reset All" is its `rightBarButtonItem`; otherwise it is in `tableHeaderView`, a toolbar above the
    /// rows whose height includes `topLayoutGuideLength`, the points that the system covers at the top.
    void viewWillAppear(bool isInNavigationController, double topLayoutGuideLength = 0);

    const std::string& title() const { return title_; }
    const SearchBar& searchbar() const { return searchbar_; }
    const std::optional<BarButtonItem>& rightBarButtonItem() const { return rightBarButtonItem_; }
    const std::optional<Toolbar>& tableHeaderView() const { return tableHeaderView_; }
    bool allowsSelection() const { return allowsSelection_; }
    bool extendedLayoutIncludesOpaqueBars() const { return extendedLayoutIncludesOpaqueBars_; }

    /// Calls the `dismiss` of the view and of all presenters, which stop showing the model. Callable from any
    /// thread.
    void done();

    /// For the library: marks the model as ended, because its client was shut down or replaced, and calls
    /// `done`. Callable from any thread, as are `hasEnded` and `addPresenter`.
    void end();
    bool hasEnded() const { return hasEnded_; }
    /// For the library. Adds a presenter, unless it was added before.
    void addPresenter(std::weak_ptr<Presenter> presenter);

    /// The names of all flags are sorted regardless of case, by the host's locale; sections stand in the
    /// order of their first names.
    const std::vector<Section>& namespacesToFeatures() const { return namespacesToFeatures_; }
    std::size_t numberOfSectionsInTableView() const { return namespacesToFeatures_.size(); }
    std::size_t numberOfRowsInSection(std::size_t section) const;
    /// Empty when there is no such section.
    std::string titleForHeaderInSection(std::size_t section) const;

    /// A new cell with the flag's present value; null when there is no such row, or its flag is no longer
    /// registered.
    std::shared_ptr<KIVVariantTableViewCell> cellForRowAtIndexPath(IndexPath indexPath);

    /// One action, "Reset", which removes the override of the row's flag and reloads; none when there is no
    /// such row.
    std::vector<RowAction> editActionsForRowAtIndexPath(IndexPath indexPath);
    /// Does nothing. It exists because toolkits let people swipe only rows that can be edited.
    void commitEditingStyle(IndexPath) {}

    /// "Reset All": removes all overrides, thaws the flags of level 1 and above, and reloads.
    void resetAllFlags();

    /// Events of the search bar: each searches and reloads. A name of one component is searched as a whole,
    /// any other name in its second component alone; case does not count. The empty text shows all flags.
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
    mutable std::mutex viewLock_; ///< guards the members below; never held while a callback runs
    std::shared_ptr<const View> view_;
    std::vector<std::weak_ptr<Presenter>> presenters_;
};
