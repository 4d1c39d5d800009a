#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <kiv/KIVFlagsViewController.h>
#include <kiv/KIVMultiVariantTableViewCell.h>

#include "Platform/Text/Json.h"

namespace kiv {

/// What one tab of the browser shows: its own search and grouping, and what it has been told of the rows. On
/// the page's thread only.
class FlagsPageTab {
public:
    /// Shows the flags of the same client as `presented`.
    explicit FlagsPageTab(const KIVFlagsViewController& presented);

    /// Searches, and answers what is to be drawn: titles, sections with the number of their rows, and the
    /// first rows.
    json::object load(std::string_view search);

    /// So many rows from that one on, counted through all sections.
    json::object rows(std::size_t from, std::size_t count);

    /// Those of the rows answered so far that have changed since, and the milliseconds it took to find them.
    json::object changes();

    /// The choice for a row with a button; empty when there is no such row.
    json::object choices(std::string_view name);

    /// Each says whether there was such a row, and such an action.
    bool toggle(std::string_view name, bool isOn);
    bool choose(std::string_view name, std::string_view title);
    bool reset(std::string_view name);
    void resetAll() { controller_->resetAllFlags(); }

private:
    struct Row {
        KIVFlagsViewController::IndexPath place;
        std::string name;
        std::shared_ptr<KIVVariantTableViewCell> cell = {}; ///< null: its flag is registered no more
        json::object told = {};                             ///< empty: it has not been answered yet
    };

    Row* find(std::string_view name);
    void refresh(Row& row);

    const std::shared_ptr<KIVFlagsViewController> controller_;
    KIVFlagsAlert alert_; ///< the choice that was presented last
    std::vector<Row> rows_;
    std::unordered_map<std::string_view, std::size_t> told_; ///< where rows that were answered stand, by name
};

} // namespace kiv
