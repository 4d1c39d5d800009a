#include "CInterface/Calls.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "KIVBuildConfig.h"
#include "Platform/Text/Text.h"

namespace {

/// The text of the thread's last error. It has no destructor, so a call may fail while the thread ends.
constinit thread_local std::array<char, 512> errorText{};

constinit thread_local std::string* keptText = nullptr;
constinit thread_local bool isThreadEnding = false;

/// Frees the text when the thread ends.
struct KeptTextOwner {
    ~KeptTextOwner() {
        isThreadEnding = true;
        delete std::exchange(keptText, nullptr);
    }
};

constexpr std::array<const char*, 13> statusNames{
    "KIV_OK",
    "KIV_INVALID_ARGUMENT",
    "KIV_INVALID_TEXT",
    "KIV_INVALID_SIZE",
    "KIV_INVALID_HANDLE",
    "KIV_INVALID_KEY",
    "KIV_INVALID_NAMESPACE",
    "KIV_NOT_SET_UP",
    "KIV_NOT_FOUND",
    "KIV_BUFFER_TOO_SMALL",
    "KIV_UNAVAILABLE",
    "KIV_OUT_OF_MEMORY",
    "KIV_INTERNAL_ERROR",
};

kiv_status statusOf(const KIVException& exception) {
    if (exception.name() == "wrong apiKey format") {
        return KIV_INVALID_KEY;
    }
    if (exception.name() == "InvalidNamespace") {
        return KIV_INVALID_NAMESPACE;
    }
    return exception.name() == "InvalidArgument" ? KIV_INVALID_ARGUMENT : KIV_INTERNAL_ERROR;
}

} // namespace

namespace kiv {

void refuse(kiv_status status, std::string reason) { throw CallRefused{status, std::move(reason)}; }

void refuseNull(const char* what) { refuse(KIV_INVALID_ARGUMENT, std::string(what) + " is null"); }

kiv_status failWith(kiv_status status, std::string_view reason) noexcept {
    // A text that is cut is cut before a character, so that it stays UTF-8.
    std::size_t size = std::min(reason.size(), errorText.size() - 1);
    while (size < reason.size() && size > 0 && (static_cast<unsigned char>(reason[size]) & 0xC0U) == 0x80U) {
        --size;
    }
    std::copy_n(reason.data(), size, errorText.data());
    errorText[size] = '\0';
    return status;
}

kiv_status statusOfException() {
    try {
        throw;
    } catch (const ThreadEnd&) {
        throw;
    } catch (const CallRefused& refused) {
        return failWith(refused.status, refused.reason);
    } catch (const KIVException& exception) {
        return failWith(statusOf(exception), exception.reason());
    } catch (const std::bad_alloc&) {
        return failWith(KIV_OUT_OF_MEMORY, "there is not enough memory");
    } catch (const std::exception& exception) {
        return failWith(KIV_INTERNAL_ERROR, exception.what() ? exception.what() : "");
    } catch (...) {
        return failWith(KIV_INTERNAL_ERROR, "an exception of another type");
    }
}

void checkUtf8(std::string_view text, const char* what) {
    if (!isValidUtf8(text)) {
        refuse(KIV_INVALID_TEXT, std::string(what) + " is not UTF-8");
    }
}

std::optional<std::string> optionalText(const kiv_text& given, const char* what) {
    return given.data ? std::optional<std::string>(text(given, what)) : std::nullopt;
}

kiv_status CallersBuffer::keep(std::string_view text) const {
    static thread_local KeptTextOwner owner;
    static_cast<void>(&owner);
    if (!isThreadEnding) {
        if (!keptText) {
            keptText = new std::string;
        }
        keptText->assign(text);
    }
    return failWith(KIV_BUFFER_TOO_SMALL, "the text has " + std::to_string(text.size()) +
                                              " bytes, and a zero byte; the buffer has " +
                                              std::to_string(capacity_));
}

} // namespace kiv

const char* kiv_version() { return kiv::build::version; }

const char* kiv_status_name(kiv_status status) {
    const auto index = static_cast<std::size_t>(status);
    return status >= 0 && index < statusNames.size() ? statusNames[index] : "unknown status";
}

const char* kiv_error_text() { return errorText.data(); }

kiv_status kiv_take_text(char* buffer, std::size_t capacity, std::size_t* size) {
    return kiv::call([&]() -> kiv_status {
        const kiv::CallersBuffer target(buffer, capacity, size);
        if (!keptText) {
            kiv::refuse(KIV_NOT_FOUND, "this thread has no text that did not fit a buffer");
        }
        const std::unique_ptr<std::string> text(std::exchange(keptText, nullptr));
        return target.give(*text);
    });
}
