#include "Analytics/KIVSEGStorage.h"

#include "Analytics/KIVSEGLog.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/PropertyLists/PropertyListXmlWriter.h"

bool KIVSEGStorage::setDictionary(const kiv::json::object& dictionary, std::string_view key) {
    return setPlist(kiv::encodeXmlPropertyList(dictionary), key);
}

bool KIVSEGStorage::setArray(const kiv::json::array& array, std::string_view key) {
    return setPlist(kiv::encodeXmlPropertyList(array), key);
}

bool KIVSEGStorage::setString(std::string_view string, std::string_view key) {
    return setPlist(kiv::encodeXmlPropertyList(string), key);
}

bool KIVSEGStorage::setPlist(const std::string& serialized, std::string_view key) {
    if (serialized.empty()) {
        KIV_SEG_LOG("Unable to serialize data from plist object");
        return false;
    }
    return setData(serialized, key);
}

kiv::json::value KIVSEGStorage::plistForKey(std::string_view key) const {
    const std::optional<std::string> data = dataForKey(key);
    if (!data) {
        return nullptr;
    }
    std::optional<kiv::json::value> plist = kiv::decodeAnyPropertyList(*data);
    if (!plist) {
        KIV_SEG_LOG("Unable to parse plist from data %@", kiv::format("%@ bytes", data->size()));
        return nullptr;
    }
    return std::move(*plist);
}
