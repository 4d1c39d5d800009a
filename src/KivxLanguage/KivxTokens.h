#pragma once

#include <string_view>

/// The characters and words of the expression language, without the operators.

inline constexpr std::string_view KivxTokenDelimiters = "{}[]():, \t\r\n\"";
/// The delimiters that only separate words.
inline constexpr std::string_view KivxSeparators = "():, \t\r\n";
inline constexpr std::string_view KivxStringDelimiter = "\"";
inline constexpr std::string_view KivxEscapedQuote = "\\\"";
/// Stands for an escaped quote while an expression is cut, so that it does not end a string.
inline constexpr std::string_view KivxEscapedQuotePlaceholder = "\\KV_Q";
inline constexpr std::string_view KivxEmptyString = "\"\"";
inline constexpr std::string_view KivxArrayStartDelimiter = "[";
inline constexpr std::string_view KivxArrayEndDelimiter = "]";
inline constexpr std::string_view KivxDictStartDelimiter = "{";
inline constexpr std::string_view KivxDictEndDelimiter = "}";
inline constexpr std::string_view KivxTrue = "true";
inline constexpr std::string_view KivxFalse = "false";
inline constexpr std::string_view KivxUndefined = "undefined";

/// Names of the kinds of values.
inline constexpr std::string_view KivxStringType = "StringType";
inline constexpr std::string_view KivxBoolType = "BooleanType";
inline constexpr std::string_view KivxNumberType = "NumberType";
inline constexpr std::string_view KivxUndefinedType = "UndefinedType";
