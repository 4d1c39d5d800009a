#include "Model/KeyForm.h"

namespace kiv {
namespace {

/// `x` in the form stands for a hexadecimal digit, everything else for itself.
bool hasForm(std::string_view text, std::string_view form) {
    constexpr std::string_view digits = "0123456789abcdefABCDEF";
    bool same = text.size() == form.size();
    for (std::size_t i = 0; same && i < form.size(); ++i) {
        same = form[i] == 'x' ? digits.find(text[i]) != digits.npos : text[i] == form[i];
    }
    return same;
}

} // namespace

bool isUuidForm(std::string_view text) { return hasForm(text, "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx"); }

bool isApplicationKeyForm(std::string_view text) { return hasForm(text, "xxxxxxxxxxxxxxxxxxxxxxxx"); }

} // namespace kiv
