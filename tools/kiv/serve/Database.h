#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <sqlite3.h>

#include "Platform/System/Freer.h"

namespace kiv::tool {

/// An SQLite database in a file. Failures are thrown as `std::runtime_error`. For one thread at a time.
class Database {
public:
    /// A statement that was prepared once and is run often. Must not outlive its database.
    class Statement {
    public:
        /// Binds `values` to the statement's parameters, in their order, and takes the first step. True when
        /// there is a row; its columns can be read until the next step, run or `reset`.
        template <class... Values>
        bool run(const Values&... values) {
            reset();
            int index = 0;
            (bind(++index, values), ...);
            return step();
        }

        /// Goes to the next row; false when there is none.
        bool step();
        std::string text(int column) const;
        /// Nullopt for NULL.
        std::optional<std::string> optionalText(int column) const;
        std::int64_t number(int column) const;

        /// Ends the reading, so that the statement no longer holds up writers.
        void reset();

    private:
        friend class Database;
        explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}

        void bind(int index, std::string_view text);
        void bind(int index, std::int64_t number);
        void bind(int index, double number);
        template <class Value>
        void bind(int index, const std::optional<Value>& value) {
            value ? bind(index, *value) : bindNull(index);
        }
        void bindNull(int index);
        [[noreturn]] void fail() const;

        std::unique_ptr<sqlite3_stmt, Freer<sqlite3_finalize>> statement_;
    };

    /// Opens the file. A missing one is made, readable by its owner alone.
    explicit Database(const std::string& file);

    /// Opens an existing file for reading. Other programs may have it open for writing.
    static Database readOnly(const std::string& file);

    /// Runs statements without parameters.
    void execute(const char* statements);
    Statement prepare(std::string_view statement);

    /// Runs `work` in a transaction. When it throws, nothing that it wrote stays.
    template <class Work>
    void transaction(Work work) {
        execute("BEGIN IMMEDIATE");
        try {
            work();
            execute("COMMIT");
        } catch (...) {
            rollBack();
            throw;
        }
    }

private:
    Database(const std::string& file, int openFlags);

    void rollBack() noexcept;

    std::unique_ptr<sqlite3, Freer<sqlite3_close>> handle_;
};

} // namespace kiv::tool
