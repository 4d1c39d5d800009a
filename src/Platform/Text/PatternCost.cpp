#include "Platform/Text/PatternCost.h"

#include <algorithm>

#include <boost/container/small_vector.hpp>

namespace kiv {
namespace {

using Work = PatternCost::Work;

// Measured with ICU 72, in nanoseconds, each rounded up.
constexpr Work compilation = 8'000;
constexpr Work compilationOfByte = 120;
constexpr Work compilationOfByteAnyCase = 250;
constexpr Work plainClass = 2'000;       ///< a class like [a-z_]
constexpr Work property = 130'000;       ///< \p{L}, [:digit:]
constexpr Work closingLarge = 1'300'000; ///< the other cases of the members of \w or \p{L}
constexpr Work closingHuge = 7'000'000;  ///< the other cases of any character
constexpr Work savedState = 16;
constexpr Work start = 8;
constexpr Work wordEnd = 40;   ///< for \b
constexpr Work boundary = 200; ///< for \X, and for \b by Unicode's rules

constexpr std::size_t memoryOfByte = 32;
constexpr std::size_t memoryOfClass = 2'048;
constexpr std::size_t memoryOfProperty = 16'384;

/// Without a division, because each search multiplies.
Work product(Work a, Work b) {
    Work result = 0;
    return __builtin_mul_overflow(a, b, &result) ? PatternCost::most : std::min(result, PatternCost::most);
}

Work sum(Work a, Work b) { return std::min(a + b, PatternCost::most); }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

} // namespace

/// Reads a pattern once and adds up what its parts cost. It knows the form of patterns well enough to never
/// judge a part cheaper than it is; it does not know whether the pattern is correct.
class PatternReader {
public:
    PatternReader(std::string_view pattern, const RegularExpressionOptions& options)
        : pattern_(pattern), options_(options), comments_(options.comments),
          anyCase_(options.caseInsensitive) {}

    PatternCost read() {
        findInlineOptions();
        cost_.compile = compilation +
                        pattern_.size() * (anyCase_ ? compilationOfByteAnyCase : compilationOfByte) +
                        pattern_.size() * pattern_.size() / 3;
        cost_.memory = pattern_.size() * memoryOfByte;
        while (at_ < pattern_.size()) {
            readPart();
        }
        finish();
        return cost_;
    }

private:
    struct Group {
        Work pipes = 0;
        Work waysBefore = 1;
        unsigned loopsBefore = 0;
    };

    /// Options may be written into the pattern, as in (?i); where they hold does not matter here.
    void findInlineOptions() {
        bool any = false;
        for (std::size_t at = pattern_.find("(?"); at != pattern_.npos; at = pattern_.find("(?", at + 2)) {
            const std::size_t end = std::min(pattern_.find_first_not_of("imswxud-", at + 2), pattern_.size());
            const std::string_view letters = pattern_.substr(at + 2, end - at - 2);
            any = any || !letters.empty();
            comments_ = comments_ || letters.find('x') != letters.npos;
            anyCase_ = anyCase_ || letters.find('i') != letters.npos;
        }
        // White space and comments may stand anywhere, also between a parenthesis and its question mark.
        anyCase_ = anyCase_ || comments_;
        isOpaque_ =
            comments_ || pattern_.find("\\Q") != pattern_.npos || pattern_.find("(?#") != pattern_.npos;
        multiLine_ = options_.anchorsMatchLines || any || isOpaque_;
    }

    void readPart() {
        const char c = pattern_[at_++];
        switch (c) {
        case '\\':
            readEscape();
            return;
        case '[':
            readClass();
            return;
        case '(':
            open();
            return;
        case ')':
            close();
            return;
        case '|':
            longest_ = std::max(longest_, branch_);
            branch_ = 0;
            ++groups_.back().pipes;
            add(1);
            return;
        case '*':
        case '+':
        case '?':
            quantify(c);
            return;
        case '{':
            readInterval();
            return;
        case '.':
            add(3);
            return;
        default:
            add(anyCase_ ? 8 : 1);
        }
    }

    void readEscape() {
        const char c = at_ < pattern_.size() ? pattern_[at_++] : '\\';
        add(anyCase_ ? 8 : 4);
        if (c == 'p' || c == 'P' || c == 'N') {
            addProperty(c);
        } else if ((c >= '1' && c <= '9') || c == 'k') {
            cost_.scans_ += anyCase_ ? 5 : 1;
        } else if (c == 'X' || c == 'b' || c == 'B') {
            ++cost_.wideScans_;
            add(c == 'X' || options_.unicodeWordBoundaries || multiLine_ ? boundary : wordEnd);
        }
        if (at_ < pattern_.size() && pattern_[at_] == '{' && (c == 'p' || c == 'P' || c == 'N' || c == 'x')) {
            at_ = std::min(pattern_.find('}', at_), pattern_.size() - 1) + 1;
        }
    }

    /// A set of characters that Unicode defines; the reader stands behind its letter.
    void addProperty(char letter) {
        cost_.compile += property + (anyCase_ ? isCategory(letter) ? closingLarge : closingHuge : 0);
        cost_.memory += memoryOfProperty;
    }

    /// Whether {L} or {Lu} follows, or the like: one of the general categories of characters that are
    /// assigned.
    bool isCategory(char letter) const {
        const std::string_view rest = pattern_.substr(at_);
        const std::size_t end = rest.find('}');
        constexpr std::string_view categories = "LMNPSZ";
        return letter == 'p' && rest.starts_with('{') && (end == 2 || end == 3) &&
               categories.find(rest[1]) != categories.npos && rest[2] != '&';
    }

    /// A class, and the classes inside it; the reader stands behind its bracket. ICU adds the other cases of
    /// the members of each class before it turns the class around.
    void readClass() {
        add(anyCase_ ? 3 : 2);
        boost::container::small_vector<Class, 8> open;
        openClass(open);
        while (at_ < pattern_.size() && !open.empty()) {
            const char c = pattern_[at_++];
            Work& closing = open.back().closing;
            if (c == '[') {
                openClass(open);
            } else if (c == ']') {
                closeClass(open);
            } else if (c == '\\') {
                closing = std::max(closing, readEscapeInClass());
            } else if (static_cast<unsigned char>(c) >= 0xE0) {
                closing =
                    std::max(closing, static_cast<unsigned char>(c) >= 0xF0 ? closingHuge : closingLarge);
            }
        }
        while (!open.empty()) {
            closeClass(open);
        }
    }

    struct Class {
        bool isNegated;
        Work closing; ///< what it takes to add the other cases of the members
    };
    using Classes = boost::container::small_vector_base<Class>;

    void openClass(Classes& open) {
        cost_.compile += plainClass;
        cost_.memory += memoryOfClass;
        const bool isNamed = at_ < pattern_.size() && pattern_[at_] == ':';
        if (isNamed) {
            addProperty('P');
        }
        const bool isNegated = at_ < pattern_.size() && pattern_[at_] == '^';
        readStartOfClass();
        open.push_back({isNegated, isNamed ? closingHuge : 0});
    }

    void closeClass(Classes& open) {
        const Class closed = open.back();
        open.pop_back();
        cost_.compile += anyCase_ ? closed.closing : 0;
        if (!open.empty()) {
            Work& closing = open.back().closing;
            closing = std::max(closing, closed.isNegated ? closingHuge : closed.closing);
        }
    }

    /// A closing bracket is a member of the class when it is its first character.
    void readStartOfClass() {
        at_ += at_ < pattern_.size() && pattern_[at_] == '^' ? 1 : 0;
        at_ += at_ < pattern_.size() && pattern_[at_] == ']' ? 1 : 0;
    }

    /// Returns what the class costs for the other cases of its characters.
    Work readEscapeInClass() {
        const char c = at_ < pattern_.size() ? pattern_[at_++] : '\\';
        switch (c) {
        case 'p':
        case 'P':
        case 'N':
            addProperty(c);
            return isCategory(c) ? closingLarge : closingHuge;
        case 'w':
        case 'd':
        case 's':
        case 'h':
        case 'v':
        case 'u':
            cost_.compile += property / 4;
            cost_.memory += memoryOfProperty / 2;
            return closingLarge;
        case 'W':
        case 'D':
        case 'S':
        case 'H':
        case 'V':
        case 'U':
        case 'x':
        case 'Q':
            cost_.compile += property / 4;
            cost_.memory += memoryOfProperty / 2;
            return closingHuge;
        default:
            return 0;
        }
    }

    void open() {
        add(6);
        groups_.push_back({0, cost_.ways_, cost_.loops_});
        deepest_ = std::max(deepest_, groups_.size());
        if (at_ >= pattern_.size() || pattern_[at_] != '?') {
            cost_.frame_ += 3;
            return;
        }
        ++at_;
        const std::string_view kind = pattern_.substr(at_, 2);
        guards_ = guards_ || kind.starts_with('>') || kind.starts_with('=') || kind.starts_with('!') ||
                  kind == "<=" || kind == "<!";
        cost_.frame_ += 3;
    }

    void close() {
        if (groups_.size() == 1) {
            return;
        }
        closed_ = groups_.back();
        groups_.pop_back();
        cost_.ways_ = product(cost_.ways_, closed_.pipes + 1);
        add(3);
        part_ = Part::group;
    }

    void quantify(char c) {
        if (part_ == Part::quantifier) {
            guards_ = guards_ || c == '+';
            return;
        }
        if (c == '?') {
            cost_.ways_ = product(cost_.ways_, 2);
            addQuantifier();
        } else {
            loop();
        }
    }

    void loop() {
        cost_.nestedLoops_ = cost_.nestedLoops_ ||
                             (part_ == Part::group &&
                              (cost_.ways_ != closed_.waysBefore || cost_.loops_ != closed_.loopsBefore));
        ++cost_.loops_;
        addQuantifier();
    }

    void addQuantifier() {
        add(2);
        cost_.frame_ += 2;
        part_ = Part::quantifier;
    }

    /// ICU writes a single operation out up to ten times; it counts all other repetitions.
    void readInterval() {
        if (part_ != Part::group) {
            const Work last = last_;
            branch_ += 9 * last;
            cost_.path_ += 9 * last;
        }
        const std::size_t end = pattern_.find('}', at_);
        const bool isDigitAlone = end == at_ + 1 && isDigit(pattern_[at_]);
        if (isDigitAlone && part_ != Part::group) {
            part_ = Part::quantifier;
        } else {
            loop();
        }
        at_ = end == pattern_.npos ? at_ : end + 1;
    }

    void add(Work work) {
        branch_ += work;
        cost_.path_ += work;
        last_ = work;
        part_ = Part::other;
    }

    void finish() {
        longest_ = std::max(longest_, branch_);
        const bool hasPipes = groups_.front().pipes > 0;
        for (const Group& each : groups_) {
            cost_.ways_ = product(cost_.ways_, each.pipes + 1);
        }
        if (isOpaque_) {
            cost_.nestedLoops_ = true;
            cost_.path_ = pattern_.size() * (anyCase_ ? 20 : 10);
            const auto escapes = static_cast<Work>(std::ranges::count(pattern_, '\\'));
            cost_.scans_ = 1 + escapes * (anyCase_ ? 5 : 1);
            cost_.wideScans_ = escapes;
            cost_.frame_ = 3 * pattern_.size();
        } else {
            // Between two saved states the engine passes one branch, and what follows the groups that the
            // branch stands in.
            cost_.path_ = std::min(cost_.path_, longest_ * deepest_);
        }
        cost_.frame_ /= 2;
        cost_.scans_ += guards_ && (cost_.loops_ > 0 || cost_.nestedLoops_) ? 1 : 0;
        cost_.readsWideRuns = cost_.wideScans_ > 0;
        cost_.onlyAtOrigin_ = pattern_.starts_with('^') && !multiLine_ && !hasPipes;
    }

    enum class Part { other, quantifier, group };

    std::string_view pattern_;
    const RegularExpressionOptions& options_;
    PatternCost cost_;
    bool comments_;
    bool anyCase_;
    bool multiLine_ = false;
    bool isOpaque_ = false; ///< the reader may take parts of the pattern for parts of another kind
    bool guards_ = false;   ///< there are groups that ICU leaves without going back over what it read in them

    std::size_t at_ = 0;
    Part part_ = Part::other; ///< what the last part was
    Work last_ = 0;           ///< of the last operation
    Work branch_ = 0;         ///< of the operations since the last pipe
    Work longest_ = 0;        ///< the longest such branch
    boost::container::small_vector<Group, 8> groups_{Group()};
    std::size_t deepest_ = 1;
    Group closed_; ///< the group that was closed last
};

PatternCost PatternCost::of(std::string_view pattern, const RegularExpressionOptions& options) {
    return PatternReader(pattern, options).read();
}

PatternCost::Search PatternCost::ofSearch(std::size_t length, std::size_t longestWideRun) const {
    const Work unit = longestWideRun == 0 ? 1 : 6;
    const Work scan = scans_ * unit * length + wideScans_ * 20 * longestWideRun;
    const Work perSave = savedState + path_ + frame_ + scan;
    Work saves = nestedLoops_ ? savesOfStep : loops_ == 0 && ways_ == 1 ? 0 : ways_;
    for (unsigned i = loops_; i > 0 && saves < savesOfStep; --i) {
        saves = product(saves, length + 1);
    }
    const Work deepest = product(saves, 8 * frame_ + 32);
    saves = onlyAtOrigin_ ? saves : product(saves, length + 1);
    return {sum(start + path_, scan), product(perSave, savesOfStep),
            product(perSave, std::min(saves, savesOfStep)), deepest, onlyAtOrigin_};
}

} // namespace kiv
