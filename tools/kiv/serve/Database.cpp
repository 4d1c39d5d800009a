#include "serve/Database.h"

#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>

#include "Platform/System/Descriptor.h"

namespace kiv::tool {
namespace {

[[noreturn]] void failOf(sqlite3* handle) {
    throw std::runtime_error(std::string("SQLite: ") + sqlite3_errmsg(handle));
}

/// Makes a missing file, readable by its owner alone, and returns its name. SQLite gives the files that it
/// makes for the database (its log, for example) the same mode.
const std::string& madePrivate(const std::string& file) {
    const Descriptor made(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    return file;
}

} // namespace

Database::Database(const std::string& file) : Database(madePrivate(file), SQLITE_OPEN_READWRITE) {
    execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
}

Database Database::readOnly(const std::string& file) { return {file, SQLITE_OPEN_READONLY}; }

Database::Database(const std::string& file, int openFlags) {
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(file.c_str(), &handle, openFlags, nullptr);
    handle_.reset(handle);
    if (result != SQLITE_OK) {
        failOf(handle);
    }
    constexpr int patience = 5000; // milliseconds to wait while another program writes
    sqlite3_busy_timeout(handle, patience);
}

void Database::execute(const char* statements) {
    if (sqlite3_exec(handle_.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) {
        failOf(handle_.get());
    }
}

void Database::rollBack() noexcept { sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr); }

Database::Statement Database::prepare(std::string_view statement) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v3(handle_.get(), statement.data(), static_cast<int>(statement.size()),
                           SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK) {
        failOf(handle_.get());
    }
    return Statement(prepared);
}

void Database::Statement::fail() const { failOf(sqlite3_db_handle(statement_.get())); }

void Database::Statement::reset() { sqlite3_reset(statement_.get()); }

bool Database::Statement::step() {
    const int result = sqlite3_step(statement_.get());
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result != SQLITE_DONE) {
        fail();
    }
    reset();
    return false;
}

std::string Database::Statement::text(int column) const {
    const auto* bytes = sqlite3_column_text(statement_.get(), column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
    return bytes ? std::string(reinterpret_cast<const char*>(bytes), size) : std::string();
}

std::optional<std::string> Database::Statement::optionalText(int column) const {
    const bool isNull = sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
    return isNull ? std::nullopt : std::optional(text(column));
}

std::int64_t Database::Statement::number(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

void Database::Statement::bind(int index, std::string_view text) {
    if (sqlite3_bind_text64(statement_.get(), index, text.data(), text.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8) != SQLITE_OK) {
        fail();
    }
}

void Database::Statement::bind(int index, std::int64_t number) {
    if (sqlite3_bind_int64(statement_.get(), index, number) != SQLITE_OK) {
        fail();
    }
}

void Database::Statement::bind(int index, double number) {
    if (sqlite3_bind_double(statement_.get(), index, number) != SQLITE_OK) {
        fail();
    }
}

void Database::Statement::bindNull(int index) {
    if (sqlite3_bind_null(statement_.get(), index) != SQLITE_OK) {
        fail();
    }
}

} // namespace kiv::tool
