#pragma once

#include <exception>
#include <string>

#include <kiv/KIVExport.h>

/// What the library throws for a documented misuse, and what it hands to the error handler.
///
/// Each operation that can throw says so and names the exception. Safe to copy and to read from any thread.
class KIV_API KIVException : public std::exception {
public:
    KIVException(std::string name, std::string reason);
    ~KIVException() override;

    KIVException(const KIVException&) = default;
    KIVException& operator=(const KIVException&) = default;

    /// What kind of failure this is, for example "InvalidArgument".
    const std::string& name() const noexcept { return name_; }

    /// What went wrong, for a person to read.
    const std::string& reason() const noexcept { return reason_; }

    /// Name and reason as "name: reason".
    const char* what() const noexcept override { return what_.c_str(); }

    /// "InvalidArgument" with the reason.
    static KIVException invalidArgument(std::string reason);
    /// "InternalInconsistency" with the reason.
    static KIVException internalInconsistency(std::string reason);
    /// "UnrecognizedOperation" with the reason.
    static KIVException unrecognizedOperation(std::string reason);

    /// The exception being handled, as a `KIVException`: itself if it is one, else one named "std::exception"
    /// or "unknown" with what the exception tells about itself. Call it only inside a `catch`. The end of a
    /// thread (`pthread_exit`, cancellation) is no exception and goes on through it.
    static KIVException current();

private:
    std::string name_;
    std::string reason_;
    std::string what_;
};
