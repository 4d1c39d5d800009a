#include "Model/KIVTargetGroupLinkArchiver.h"

#include <algorithm>
#include <utility>

#include "Platform/Files.h"
#include "Platform/LibraryPath.h"
#include "Platform/PropertyList.h"

namespace {

constexpr const char* rootKey = "root";

std::vector<std::string> readIdentifiers(const std::string& path) {
    std::vector<std::string> identifiers;
    const auto archive = kiv::readPropertyList(path);
    const auto* root = archive ? kiv::member(*archive, rootKey) : nullptr;
    if (root && root->is_array()) {
        for (const auto& element : root->get_array()) {
            if (element.is_string()) {
                identifiers.emplace_back(element.get_string());
            }
        }
    }
    return identifiers;
}

} // namespace

KIVTargetGroupLinkArchiver::KIVTargetGroupLinkArchiver()
    : path_(kiv::libraryPath(KIVC_TargetGroupLinks_Persistance_Path)), identifiers_(readIdentifiers(path_)) {}

void KIVTargetGroupLinkArchiver::addTargetGroupLinkPairing(std::string identifier) {
    const std::lock_guard lock(lock_);
    identifiers_.push_back(std::move(identifier));
    kiv::writePropertyList(path_, {{rootKey, kiv::json::array(identifiers_.begin(), identifiers_.end())}});
}

bool KIVTargetGroupLinkArchiver::isTargetGroupLinkPairedWith(std::string_view identifier) const {
    const std::lock_guard lock(lock_);
    return std::find(identifiers_.begin(), identifiers_.end(), identifier) != identifiers_.end();
}

void KIVTargetGroupLinkArchiver::clearTargetGroupLinks() {
    const std::lock_guard lock(lock_);
    kiv::removeFile(path_);
    identifiers_.clear();
}
