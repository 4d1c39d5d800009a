#include "DebugScreen/FlagsPageTab.h"

#include <algorithm>
#include <utility>

#include <kiv/KIVBooleanSwitchTableViewCell.h>
#include <kiv/KIVString.h>

#include "Flags/KIVFeatureFlagsRepository.h"

namespace kiv {
namespace {

/// What a person sees of a row.
json::object shown(const std::string& name, const KIVVariantTableViewCell* cell) {
    json::object row{{"name", name}};
    if (!cell) {
        row["isGone"] = true;
        return row;
    }
    row["label"] = cell->textLabel();
    if (cell->detailTextLabel()) {
        row["detail"] = *cell->detailTextLabel();
    }
    if (const auto* boolean = dynamic_cast<const KIVBooleanSwitchTableViewCell*>(cell)) {
        row["isOn"] = boolean->flagSwitch().isOn;
    } else if (const auto* multi = dynamic_cast<const KIVMultiVariantTableViewCell*>(cell)) {
        row["value"] = multi->flagButton().title;
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

json::object FlagsPageTab::load(std::string_view search) {
    controller_->textDidChange(search);
    rows_.clear();
    places_.clear();
    json::array sections;
    for (std::size_t section = 0; section < controller_->numberOfSectionsInTableView(); ++section) {
        json::array rows;
        const auto& names = controller_->namespacesToFeatures()[section].names;
        for (std::size_t row = 0; row < names.size(); ++row) {
            const auto cell = controller_->cellForRowAtIndexPath({section, row});
            rows_.push_back({{section, row}, names[row], cell, shown(names[row], cell.get())});
            rows.push_back(rows_.back().told);
        }
        sections.push_back(json::object{{"title", controller_->titleForHeaderInSection(section)},
                                        {"rows", std::move(rows)}});
    }
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        places_.emplace(rows_[i].name, i);
    }
    return {{"title", controller_->title()},
            {"resetAll", controller_->rightBarButtonItem()->title},
            {"sections", std::move(sections)}};
}

/// The repository may hold another flag of the name by now, or none.
void FlagsPageTab::refresh(Row& row) {
    const auto feature = controller_->flagsRepository()->featureWithName(row.name);
    if (row.cell && feature == row.cell->feature()) {
        row.cell->refresh();
    } else if (row.cell || feature) {
        row.cell = controller_->cellForRowAtIndexPath(row.place);
    }
}

json::object FlagsPageTab::changes() {
    json::array changed;
    for (auto& row : rows_) {
        refresh(row);
        auto now = shown(row.name, row.cell.get());
        if (now != row.told) {
            row.told = std::move(now);
            changed.push_back(row.told);
        }
    }
    return {{"rows", std::move(changed)}};
}

FlagsPageTab::Row* FlagsPageTab::find(std::string_view name) {
    const auto found = places_.find(name);
    return found == places_.end() ? nullptr : &rows_[found->second];
}

json::object FlagsPageTab::choices(std::string_view name) {
    Row* row = find(name);
    auto* cell = row ? dynamic_cast<KIVMultiVariantTableViewCell*>(row->cell.get()) : nullptr;
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
    auto* cell = row ? dynamic_cast<KIVBooleanSwitchTableViewCell*>(row->cell.get()) : nullptr;
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
