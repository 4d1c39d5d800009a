#include "Model/KIVTargetGroupLinkArchiver.h"

#include <memory>
#include <utility>

#include "Platform/Host/LibraryPath.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"

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

KIVTargetGroupLinkArchiver::Links::Links(std::vector<std::string> all)
    : inOrder(std::move(all)), identifiers(inOrder.begin(), inOrder.end()) {}

KIVTargetGroupLinkArchiver::KIVTargetGroupLinkArchiver()
    : path_(kiv::libraryPath(KIVC_TargetGroupLinks_Persistance_Path)),
      links_(std::make_unique<const Links>(readIdentifiers(path_))) {}

void KIVTargetGroupLinkArchiver::addTargetGroupLinkPairing(std::string identifier) {
    const kiv::WriterLock lock(lock_);
    auto all = links_.load()->inOrder;
    all.push_back(std::move(identifier));
    const kiv::json::array root(all.begin(), all.end());
    links_.publish(std::make_unique<const Links>(std::move(all)));
    kiv::writePropertyList(path_, {{rootKey, root}});
}

bool KIVTargetGroupLinkArchiver::isTargetGroupLinkPairedWith(std::string_view identifier) const {
    const kiv::ReadGuard guard;
    return links_.load()->identifiers.contains(identifier);
}

void KIVTargetGroupLinkArchiver::clearTargetGroupLinks() {
    const kiv::WriterLock lock(lock_);
    links_.publish(std::make_unique<const Links>(std::vector<std::string>()));
    kiv::removeFile(path_);
}
