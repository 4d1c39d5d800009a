#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <kiv/KIVFlagsViewController.h>
#include <kiv/KIVMultiVariantTableViewCell.h>

#include "Platform/Text/Json.h"

namespace kiv {

/// One tab of the browser: a model of its own, with its own search and grouping, and what the tab was told of
/// each row. Used on the page's thread only.
class FlagsPageTab {
public:
    /// The tab's model has the flags of the same client as `presented`.
    explicit FlagsPageTab(const KIVFlagsViewController& presented);

    /// Which flags the tab shows.
    struct Filter {
        std::string_view search = {};
        bool inWholeNames = false; ///< searches names as a whole; otherwise the model searches
        bool overriddenOnly = false;
    };

    /// Groups the flags, and returns what the page draws: "title", "resetAll" (the button's title),
    /// "sections" (each with "title" and "count", the number of its rows), the first "rows", and "overrides":
    /// how many there are in "all", and how many of them are of flags that are "registered".
    json::object load(const Filter& filter);

    /// At most `count` "rows", starting with row `from`; rows are numbered through all sections.
    json::object rows(std::size_t from, std::size_t count);

    /// The "rows" that have changed since the tab was told of them, and the "overrides" as in `load`; "took"
    /// is how many milliseconds it took to find them.
    json::object changes();

    /// The choice for the flag's row: "title", "message" and "actions" (each with "title" and "isCancel").
    /// Empty when the tab was told of no such row, or the row has no button.
    json::object choices(std::string_view name);

    /// Perform an action of the flag's row. Return false, without effect, when the tab was told of no such
    /// row, or the row has no such action.
    bool toggle(std::string_view name, bool isOn);
    bool choose(std::string_view name, std::string_view title);
    bool reset(std::string_view name);
    void resetAll();

    /// Sets the overrides again that this tab's last `resetAll` removed, except for flags that have been
    /// overridden since. Flags that were frozen then stay thawed. Returns false when there is nothing to
    /// undo.
    bool undoResetAll();

private:
    struct Row {
        KIVFlagsViewController::IndexPath place;
        std::string name;
        std::shared_ptr<KIVVariantTableViewCell> cell = {}; ///< null: its flag is no longer registered
        json::object told = {};                             ///< empty: the tab was not told of the row
    };

    Row* find(std::string_view name);
    void refresh(Row& row);
    json::object overrideCounts() const;

    const std::shared_ptr<KIVFlagsViewController> controller_;
    KIVFlagsAlert alert_;                        ///< the choice that was presented last
    std::map<std::string, std::string> removed_; ///< the overrides that the last `resetAll` removed
    std::vector<Row> rows_;
    std::unordered_map<std::string_view, std::size_t> told_; ///< by name: index of each row that was told
};

} // namespace kiv
