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
        /// Gives the values of the statement's parameters, in their order, and takes its first step. True
        /// when there is a row, whose columns can be read until the next run or `reset`.
        template <class... Values>
        bool run(const Values&... values) {
            reset();
            int index = 0;
            (bind(++index, values), ...);
            return step();
        }

        /// To the next row; false when there is none.
        bool step();
        std::string text(int column) const;
        std::int64_t number(int column) const;

        /// Ends the reading; what was read does not hold up writers any more.
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

    /// Opens the file, or makes it, readable by its owner alone.
    explicit Database(const std::string& file);

    /// Opens a file that there is, whoever else has it open, to look at it.
    static Database readOnly(const std::string& file);

    /// Runs statements without parameters.
    void execute(const char* statements);
    Statement prepare(std::string_view statement);

    /// Everything that `work` writes, or nothing when it throws.
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
