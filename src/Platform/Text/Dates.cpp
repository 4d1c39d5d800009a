#include "Platform/Text/Dates.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace kiv {
namespace {

/// Reads fields of fixed width one after another. After a field that does not fit, `finished` stays false.
class FieldReader {
public:
    explicit FieldReader(std::string_view text) : rest_(text) {}

    /// A field of exactly `width` decimal digits and at most `most`.
    int number(std::size_t width, int most) {
        int value = 0;
        if (rest_.size() < width) {
            return fail();
        }
        for (const char c : rest_.substr(0, width)) {
            if (c < '0' || c > '9') {
                return fail();
            }
            value = 10 * value + (c - '0');
        }
        rest_.remove_prefix(width);
        return value <= most ? value : fail();
    }

    bool skip(char expected) {
        if (rest_.empty() || rest_.front() != expected) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    void expect(char expected) {
        if (!skip(expected)) {
            fail();
        }
    }

    bool finished() const { return valid_ && rest_.empty(); }

private:
    int fail() {
        valid_ = false;
        return 0;
    }

    std::string_view rest_;
    bool valid_ = true;
};

std::chrono::minutes readZone(FieldReader& reader) {
    using namespace std::chrono;
    if (reader.skip('Z')) {
        return minutes(0);
    }
    const bool west = reader.skip('-');
    if (!west) {
        reader.expect('+');
    }
    minutes offset = hours(reader.number(2, 23));
    reader.skip(':');
    offset += minutes(reader.number(2, 59));
    return west ? -offset : offset;
}

} // namespace

std::optional<KIVDate> parseDate(std::string_view text) {
    using namespace std::chrono;
    FieldReader reader(text);
    const year theYear(reader.number(4, 9999));
    reader.expect('-');
    const month theMonth(static_cast<unsigned>(reader.number(2, 12)));
    reader.expect('-');
    const day theDay(static_cast<unsigned>(reader.number(2, 31)));
    reader.expect('T');
    const hours theHours(reader.number(2, 23));
    reader.expect(':');
    const minutes theMinutes(reader.number(2, 59));
    reader.expect(':');
    const seconds theSeconds(reader.number(2, 59));
    reader.expect('.');
    const milliseconds theMilliseconds(reader.number(3, 999));
    const minutes offset = readZone(reader);

    const year_month_day date(theYear, theMonth, theDay);
    if (!reader.finished() || !date.ok()) {
        return std::nullopt;
    }
    return sys_days(date) + theHours + theMinutes + theSeconds + theMilliseconds - offset;
}

std::string dateText(KIVDate date) {
    using namespace std::chrono;
    const auto midnight = floor<days>(date);
    const year_month_day ymd(midnight);
    const hh_mm_ss time(floor<milliseconds>(date - midnight));
    std::array<char, 48> buffer;
    const int length = std::snprintf(buffer.data(), buffer.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                                     int(ymd.year()), unsigned(ymd.month()), unsigned(ymd.day()),
                                     int(time.hours().count()), int(time.minutes().count()),
                                     int(time.seconds().count()), int(time.subseconds().count()));
    return {buffer.data(), static_cast<std::size_t>(length)};
}

} // namespace kiv
