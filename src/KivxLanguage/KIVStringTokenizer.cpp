#include "KivxLanguage/KIVStringTokenizer.h"

std::size_t KIVStringTokenizer::find(bool delimiter, std::size_t from) const {
    while (from < text_.size() && delimiters_->contains(text_[from]) != delimiter) {
        ++from;
    }
    return from;
}

bool KIVStringTokenizer::hasMoreTokens() const {
    if (!delimiters_ || position_ >= text_.size()) {
        return false;
    }
    return returnDelimiters_ || find(false, position_) < text_.size();
}

std::optional<std::string_view> KIVStringTokenizer::nextToken() {
    if (!delimiters_ || position_ >= text_.size()) {
        return std::nullopt;
    }
    const std::size_t start = returnDelimiters_ ? position_ : find(false, position_);
    const bool single = returnDelimiters_ && delimiters_->contains(text_[start]);
    position_ = single ? start + 1 : find(true, start);
    if (position_ == start) {
        return std::nullopt;
    }
    return text_.substr(start, position_ - start);
}

std::size_t KIVStringTokenizer::countTokens() const {
    KIVStringTokenizer rest = *this;
    std::size_t count = 0;
    while (rest.nextToken()) {
        ++count;
    }
    return count;
}
