#include <kiv/KIVFlagsViewController.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include <kiv/KIVBooleanSwitchTableViewCell.h>
#include <kiv/KIVFlag.h>
#include <kiv/KIVFlagsOverrides.h>
#include <kiv/KIVHost.h>
#include <kiv/KIVMultiVariantTableViewCell.h>

#include "Flags/KIVFeatureFlagsSetter.h"
#include "Model/KIVConfiguration.h"
#include "Platform/Text/Collation.h"
#include "Platform/Text/Text.h"
#include "Platform/Threads/Fork.h"

namespace {

/// All components but the last.
std::string namespaceOf(const std::string& name) {
    const std::size_t last = name.rfind('.');
    return last == std::string::npos ? "Default Namespace" : name.substr(0, last);
}

/// The part of a name that a search looks at: its second component, or a name of one component as a whole.
std::string_view searchedPart(std::string_view name) {
    const std::size_t first = name.find('.');
    if (first == std::string_view::npos) {
        return name;
    }
    const std::string_view rest = name.substr(first + 1);
    return rest.substr(0, rest.find('.'));
}

std::vector<KIVFlagsViewController::Section> grouped(std::vector<std::string> names) {
    std::vector<KIVFlagsViewController::Section> sections;
    std::unordered_map<std::string, std::size_t> places;
    for (auto& name : names) {
        const auto [place, isNew] = places.try_emplace(namespaceOf(name), sections.size());
        if (isNew) {
            sections.push_back({place->first, {}});
        }
        sections[place->second].names.push_back(std::move(name));
    }
    return sections;
}

} // namespace

KIVFlagsViewController::KIVFlagsViewController(std::shared_ptr<KIVFeatureFlagsSetter> setter,
                                               std::shared_ptr<KIVConfiguration> configuration,
                                               std::shared_ptr<KIVFeatureFlagsRepository> flagsRepository)
    : setter_(std::move(setter)), configuration_(std::move(configuration)),
      flagsRepository_(std::move(flagsRepository)), view_(std::make_shared<const View>()) {}

KIVFlagsViewController::~KIVFlagsViewController() = default;

void KIVFlagsViewController::setView(View view) {
    auto replaced = std::make_shared<const View>(std::move(view));
    const kiv::Lock lock(viewLock_);
    view_.swap(replaced);
}

std::shared_ptr<const KIVFlagsViewController::View> KIVFlagsViewController::view() const {
    const kiv::Lock lock(viewLock_);
    return view_;
}

void KIVFlagsViewController::viewDidLoad() {
    allowsSelection_ = false;
    extendedLayoutIncludesOpaqueBars_ = true;
    namespacesToFeatures_ = extractNamespacesToFeatures();
}

void KIVFlagsViewController::viewWillAppear(bool isInNavigationController, double topLayoutGuideLength) {
    constexpr double barHeight = 44;
    reloadData();
    title_ = "KIV";
    const BarButtonItem flexibleSpace;
    const BarButtonItem resetAll{"Reset All", [weak = weak_from_this()] {
                                     if (const auto model = weak.lock()) {
                                         model->resetAllFlags();
                                     }
                                 }};
    rightBarButtonItem_.reset();
    tableHeaderView_.reset();
    if (isInNavigationController) {
        rightBarButtonItem_ = resetAll;
    } else {
        tableHeaderView_ = Toolbar{barHeight + topLayoutGuideLength, {flexibleSpace, resetAll}};
    }
}

void KIVFlagsViewController::done() {
    if (const auto present = view(); present->dismiss) {
        present->dismiss();
    }
    std::vector<std::weak_ptr<Presenter>> presenters;
    {
        const kiv::Lock lock(viewLock_);
        presenters = presenters_;
    }
    for (const auto& each : presenters) {
        if (const auto presenter = each.lock()) {
            presenter->dismiss();
        }
    }
}

void KIVFlagsViewController::end() {
    hasEnded_ = true;
    done();
}

void KIVFlagsViewController::addPresenter(std::weak_ptr<Presenter> presenter) {
    const kiv::Lock lock(viewLock_);
    std::erase_if(presenters_, [&](const auto& each) {
        return each.expired() || !(each.owner_before(presenter) || presenter.owner_before(each));
    });
    presenters_.push_back(std::move(presenter));
}

void KIVFlagsViewController::reloadData() const {
    if (const auto present = view(); present->reloadData) {
        present->reloadData();
    }
}

void KIVFlagsViewController::present(const KIVFlagsAlert& alert) const {
    if (const auto present = view(); present->present) {
        present->present(alert);
    }
}

std::size_t KIVFlagsViewController::numberOfRowsInSection(std::size_t section) const {
    return section < namespacesToFeatures_.size() ? namespacesToFeatures_[section].names.size() : 0;
}

std::string KIVFlagsViewController::titleForHeaderInSection(std::size_t section) const {
    return section < namespacesToFeatures_.size() ? namespacesToFeatures_[section].title : "";
}

const std::string* KIVFlagsViewController::nameAt(IndexPath indexPath) const {
    return indexPath.row < numberOfRowsInSection(indexPath.section)
               ? &namespacesToFeatures_[indexPath.section].names[indexPath.row]
               : nullptr;
}

std::shared_ptr<KIVVariantTableViewCell> KIVFlagsViewController::cellForRowAtIndexPath(IndexPath indexPath) {
    const std::string* name = nameAt(indexPath);
    const auto feature = name ? flagsRepository_->featureWithName(*name) : nullptr;
    if (!feature) {
        return nullptr;
    }
    std::shared_ptr<KIVVariantTableViewCell> cell;
    if (feature->isBooleanFlag()) {
        cell = std::make_shared<KIVBooleanSwitchTableViewCell>();
    } else {
        cell = std::make_shared<KIVMultiVariantTableViewCell>();
    }
    cell->setSetter(setter_);
    cell->setFeature(feature);
    cell->setController(weak_from_this());
    return cell;
}

std::vector<KIVFlagsViewController::RowAction>
KIVFlagsViewController::editActionsForRowAtIndexPath(IndexPath indexPath) {
    const std::string* name = nameAt(indexPath);
    if (!name) {
        return {};
    }
    return {{"Reset", [weak = weak_from_this(), own = *name] {
                 if (const auto model = weak.lock()) {
                     model->setter_->overrides()->clearOverrideForName(own);
                     model->reloadData();
                 }
             }}};
}

void KIVFlagsViewController::resetAllFlags() {
    setter_->resetForExperiments(); // thaws flags too
    reloadData();
}

void KIVFlagsViewController::textDidChange(KIVNonnullString searchText) { onSearchChange(searchText); }

bool KIVFlagsViewController::textFieldShouldReturn(KIVNonnullString searchText) {
    onSearchChange(searchText);
    return true;
}

void KIVFlagsViewController::searchBarCancelButtonClicked() { onSearchChange(""); }

void KIVFlagsViewController::onSearchChange(KIVNonnullString text) {
    searchbar_.text = text.string();
    namespacesToFeatures_ =
        searchbar_.text.empty() ? extractNamespacesToFeatures() : searchFilterFeatures(searchbar_.text);
    reloadData();
}

std::vector<KIVFlagsViewController::Section> KIVFlagsViewController::extractNamespacesToFeatures() const {
    return grouped(sortedNames([](std::string_view) { return true; }));
}

std::vector<KIVFlagsViewController::Section>
KIVFlagsViewController::searchFilterFeatures(KIVNonnullString query) const {
    return grouped(sortedNames([wanted = kiv::lowercased(query.view())](std::string_view name) {
        return kiv::lowercased(searchedPart(name)).find(wanted) != std::string::npos;
    }));
}

std::vector<std::string>
KIVFlagsViewController::sortedNames(const std::function<bool(std::string_view)>& isShown) const {
    std::vector<std::string> names;
    for (const auto& [name, flag] : flagsRepository_->features()) {
        if (isShown(name)) {
            names.push_back(name);
        }
    }
    kiv::sortIgnoringCase(names, KIVHost::current()->locale.value_or(""));
    return names;
}
