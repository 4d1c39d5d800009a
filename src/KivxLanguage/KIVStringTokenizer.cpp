#include "KivxLanguage/KIVStringTokenizer.h"

std::size_t KIVStringTokenizer::countTokens() const {
    KIVStringTokenizer rest = *this;
    std::size_t count = 0;
    while (rest.nextToken()) {
        ++count;
    }
    return count;
}
