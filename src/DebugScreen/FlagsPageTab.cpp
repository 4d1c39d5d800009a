#include "DebugScreen/FlagsPageTab.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <kiv/KIVBooleanSwitchTableViewCell.h>
#include <kiv/KIVFlagsOverrides.h>
#include <kiv/KIVString.h>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Flags/KIVFeatureFlagsSetter.h"
#include "Platform/System/Clock.h"
#include "Platform/Text/Text.h"

namespace kiv {
namespace {

/// What the page shows of a row.
json::object shown(const std::string& name, KIVVariantTableViewCell* cell) {
    json::object row{{"name", name}};
    if (!cell) {
        row["isGone"] = true;
        return row;
    }
    row["label"] = cell->textLabel();
    if (cell->detailTextLabel()) {
        row["detail"] = *cell->detailTextLabel();
    }
    if (const auto* boolean = cell->asBooleanSwitch()) {
        row["isOn"] = boolean->flagSwitch().isOn;
    } else if (const auto* multi = cell->asMultiVariant()) {
        row["value"] = multi->flagButton().title;
        if (multi->value() != multi->flagButton().title) {
            row["raw"] = multi->value();
        }
    }
    return row;
}

} // namespace

FlagsPageTab::FlagsPageTab(const KIVFlagsViewController& presented)
    : controller_(std::make_shared<KIVFlagsViewController>(presented.setter(), presented.configuration(),
                                                           presented.flagsRepository())) {
    controller_->setView(
        {.reloadData = {}, .present = [this](const KIVFlagsAlert& alert) { alert_ = alert; }, .dismiss = {}});
    controller_->viewDidLoad();
    controller_->viewWillAppear(true);
}

json::object FlagsPageTab::load(const Filter& filter) {
    constexpr std::size_t atOnce = 120;
    controller_->textDidChange(filter.inWholeNames ? std::string_view() : filter.search);
    const std::string wanted = filter.inWholeNames ? lowercased(filter.search) : std::string();
    const auto& overrides = *controller_->setter()->overrides();
    const auto isShown = [&](const std::string& name) {
        return (wanted.empty() || lowercased(name).find(wanted) != std::string::npos) &&
               (!filter.overriddenOnly || overrides.hasOverride(name));
    };
    rows_.clear();
    told_.clear();
    json::array sections;
    for (std::size_t section = 0; section < controller_->numberOfSectionsInTableView(); ++section) {
        const auto& [title, names] = controller_->namespacesToFeatures()[section];
        const std::size_t before = rows_.size();
        for (std::size_t row = 0; row < names.size(); ++row) {
            if (isShown(names[row])) {
                rows_.push_back({.place = {section, row}, .name = names[row]});
            }
        }
        if (rows_.size() > before) {
            sections.push_back(json::object{{"title", title}, {"count", rows_.size() - before}});
        }
    }
    json::object loaded = rows(0, atOnce);
    loaded["overrides"] = overrideCounts();
    loaded["title"] = controller_->title();
    loaded["resetAll"] = controller_->rightBarButtonItem()->title;
    loaded["sections"] = std::move(sections);
    return loaded;
}

json::object FlagsPageTab::rows(std::size_t from, std::size_t count) {
    json::array asked;
    const std::size_t first = std::min(from, rows_.size());
    const std::size_t end = first + std::min(count, rows_.size() - first);
    for (std::size_t i = first; i < end; ++i) {
        Row& row = rows_[i];
        row.cell = controller_->cellForRowAtIndexPath(row.place);
        row.told = shown(row.name, row.cell.get());
        told_.emplace(row.name, i);
        asked.push_back(row.told);
    }
    return {{"rows", std::move(asked)}};
}

/// Brings the row's cell up to date. By now the name may belong to another flag, or to none.
void FlagsPageTab::refresh(Row& row) {
    const auto feature = controller_->flagsRepository()->featureWithName(row.name);
    if (row.cell && feature == row.cell->feature()) {
        row.cell->refresh();
    } else if (row.cell || feature) {
        row.cell = controller_->cellForRowAtIndexPath(row.place);
    }
}

json::object FlagsPageTab::changes() {
    const auto begun = Clock::current().monotonic();
    json::array changed;
    for (const auto& [name, place] : told_) {
        Row& row = rows_[place];
        refresh(row);
        auto now = shown(row.name, row.cell.get());
        if (now != row.told) {
            row.told = std::move(now);
            changed.push_back(row.told);
        }
    }
    const std::chrono::duration<double, std::milli> took = Clock::current().monotonic() - begun;
    return {{"rows", std::move(changed)}, {"took", took.count()}, {"overrides", overrideCounts()}};
}

json::object FlagsPageTab::overrideCounts() const {
    const auto all = controller_->setter()->overrides()->overrides();
    const auto registered = std::ranges::count_if(all, [&](const auto& each) {
        return controller_->flagsRepository()->featureWithName(each.first) != nullptr;
    });
    return {{"all", all.size()}, {"registered", registered}};
}

void FlagsPageTab::resetAll() {
    auto overrides = controller_->setter()->overrides()->overrides();
    if (!overrides.empty()) { // a browser that got no answer asks once more
        removed_ = std::move(overrides);
    }
    controller_->resetAllFlags();
}

bool FlagsPageTab::undoResetAll() {
    auto& overrides = *controller_->setter()->overrides();
    for (const auto& [name, value] : removed_) {
        if (!overrides.hasOverride(name)) {
            overrides.setOverride(value, name);
        }
    }
    return !removed_.empty();
}

FlagsPageTab::Row* FlagsPageTab::find(std::string_view name) {
    const auto found = told_.find(name);
    return found == told_.end() ? nullptr : &rows_[found->second];
}

json::object FlagsPageTab::choices(std::string_view name) {
    Row* row = find(name);
    auto* cell = row && row->cell ? row->cell->asMultiVariant() : nullptr;
    if (!cell) {
        return {};
    }
    cell->flagButtonTapped();
    json::array actions;
    for (const auto& action : alert_.actions) {
        actions.push_back(json::object{{"title", action.title}, {"isCancel", action.isCancel}});
    }
    return {{"title", alert_.title}, {"message", alert_.message}, {"actions", std::move(actions)}};
}

bool FlagsPageTab::toggle(std::string_view name, bool isOn) {
    Row* row = find(name);
    auto* cell = row && row->cell ? row->cell->asBooleanSwitch() : nullptr;
    if (cell) {
        cell->switchToggled(isOn);
    }
    return cell != nullptr;
}

bool FlagsPageTab::choose(std::string_view name, std::string_view title) {
    if (choices(name).empty()) {
        return false;
    }
    const auto action = std::find_if(alert_.actions.begin(), alert_.actions.end(),
                                     [&](const auto& each) { return !each.isCancel && each.title == title; });
    if (action == alert_.actions.end()) {
        return false;
    }
    action->handler();
    return true;
}

bool FlagsPageTab::reset(std::string_view name) {
    const Row* row = find(name);
    if (!row) {
        return false;
    }
    for (const auto& action : controller_->editActionsForRowAtIndexPath(row->place)) {
        action.handler();
    }
    return true;
}

} // namespace kiv
