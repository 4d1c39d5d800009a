#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Platform/Text/RegularExpression.h"

namespace kiv {

/// What compiling a pattern and searching with it costs at most, judged from the pattern's text: ICU counts
/// saved states, but neither what it does between two of them nor what it does to compile.
///
/// All costs are counted in `RegularExpressionWork`'s units. They are generous for a pattern that is hard to
/// judge, such as one with comments. A limit of `most` stands for a cost that nobody may spend.
class PatternCost {
public:
    using Work = std::uint64_t;

    static constexpr Work most = Work{1} << 62;

    /// ICU reports the saved states of a search each time there are this many more.
    static constexpr Work savesOfStep = 10'000;

    static PatternCost of(std::string_view pattern, const RegularExpressionOptions& options);

    /// The cost of one search, by the text that it searches.
    struct Search {
        Work perStart;     ///< of a position where a match may begin, apart from states that are saved there
        Work perStep;      ///< of each step that ICU reports
        Work beforeStep;   ///< of the states that are saved before ICU reports a step
        Work stack;        ///< the bytes that the saved states may take together
        bool onlyAtOrigin; ///< a match can only begin where the text does
    };
    /// `longestWideRun` is the length of the longest run of units beyond ASCII among the text's `length`
    /// units of UTF-16.
    Search ofSearch(std::size_t length, std::size_t longestWideRun) const;

    Work compile = 0;
    std::size_t memory = 0;     ///< bytes that the compiled pattern takes, roughly
    bool readsWideRuns = false; ///< an operation passes over a run of combining characters in one go

private:
    friend class PatternReader;

    Work path_ = 0;      ///< of all operations between two saved states
    Work frame_ = 0;     ///< of copying a state
    Work scans_ = 0;     ///< operations that read the whole text between two saved states
    Work wideScans_ = 0; ///< operations that read a run of wide characters between two saved states
    Work ways_ = 1;      ///< alternatives, all combinations counted
    unsigned loops_ = 0; ///< loops one after the other
    bool nestedLoops_ = false;
    bool onlyAtOrigin_ = false;
};

} // namespace kiv
