#pragma once

#include <exception>
#include <string>

#include <kiv/KIVExport.h>

/// The exception that the library throws for a documented misuse, and the form in which the unhandled-error
/// handler gets every exception.
///
/// Each operation that can throw says so and names the exception. Any thread may copy and read it.
class KIV_API KIVException : public std::exception {
public:
    KIVException(std::string name, std::string reason);
    ~KIVException() override;

    KIVException(const KIVException&) = default;
    KIVException& operator=(const KIVException&) = default;

    /// The kind of failure, for example "InvalidArgument".
    const std::string& name() const noexcept { return name_; }

    /// The cause, for a person to read.
    const std::string& reason() const noexcept { return reason_; }

    /// Name and reason as "name: reason".
    const char* what() const noexcept override { return what_.c_str(); }

    /// "InvalidArgument" with the reason.
    static KIVException invalidArgument(std::string reason);
    /// "InternalInconsistency" with the reason.
    static KIVException internalInconsistency(std::string reason);
    /// "UnrecognizedOperation" with the reason.
    static KIVException unrecognizedOperation(std::string reason);

    /// The exception that is being handled, as a `KIVException`. A `std::exception` becomes a `KIVException`
    /// named "std::exception", with `what()` as its reason; anything else becomes one named "unknown", with
    /// the thrown text, if any, as its reason. Call it only inside a `catch`. When a thread is ending
    /// (`pthread_exit`, cancellation), this rethrows instead, so that the thread can end.
    static KIVException current();

private:
    std::string name_;
    std::string reason_;
    std::string what_;
};
