#include <kiv/KIVException.h>

#include "Platform/Threads/ThreadEnd.h"

KIVException::KIVException(std::string name, std::string reason)
    : name_(std::move(name)), reason_(std::move(reason)), what_(name_ + ": " + reason_) {}

KIVException::~KIVException() = default;

KIVException KIVException::invalidArgument(std::string reason) {
    return {"InvalidArgument", std::move(reason)};
}

KIVException KIVException::internalInconsistency(std::string reason) {
    return {"InternalInconsistency", std::move(reason)};
}

KIVException KIVException::unrecognizedOperation(std::string reason) {
    return {"UnrecognizedOperation", std::move(reason)};
}

KIVException KIVException::current() {
    try {
        throw;
    } catch (const kiv::ThreadEnd&) {
        throw;
    } catch (const KIVException& exception) {
        return exception;
    } catch (const std::exception& exception) {
        const char* what = exception.what();
        return {"std::exception", what ? what : ""};
    } catch (const std::string& text) {
        return {"unknown", text};
    } catch (const char* text) {
        return {"unknown", text ? text : ""};
    } catch (...) {
        return {"unknown", "an exception of another type"};
    }
}
