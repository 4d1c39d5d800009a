#pragma once

#include <cstddef>
#include <string_view>

/// The binary form of property lists.
///
/// A list is a header of eight bytes, the objects one after the other, a table with the place of each object,
/// and a trailer of 32 bytes. All numbers have the most significant byte first.
///
/// An object begins with a marker: its kind in the high four bits, and a count in the low four. For a count
/// of 15 or more, the marker holds 15, and the count follows the marker as an integer object.
///
/// | Kind       | Count             | Content |
/// |------------|-------------------|---------|
/// | constant   | 8 false, 9 true   | none    |
/// | integer    | n, 0 to 4         | 2^n bytes; signed when they are 8, else unsigned |
/// | real       | n, 2 or 3         | 2^n bytes: a float of 4, a double of 8 |
/// | date       | 3                 | a double: the seconds since 2001 |
/// | data       | bytes             | bytes   |
/// | ascii      | bytes             | text    |
/// | utf16      | 16-bit units      | text    |
/// | uid        | bytes less 1      | a number that keyed archives use |
/// | array      | members           | a reference to each |
/// | dictionary | members           | references to all keys, which are texts, then to all values |
///
/// A reference is the number of an object in the table. The trailer: five bytes without meaning, which hold
/// the seal of the library's archives; one byte 0; the size of a place in the table, and of a reference, one
/// byte each; the count of objects, the number of the object at the top, and the place where the table
/// begins, eight bytes each.
namespace kiv {

constexpr std::string_view binaryListHeader = "bplist00";
constexpr std::size_t binaryListTrailerSize = 32;

enum class BinaryKind : unsigned char {
    constant = 0x0,
    integer = 0x1,
    real = 0x2,
    date = 0x3,
    data = 0x4,
    ascii = 0x5,
    utf16 = 0x6,
    uid = 0x8,
    array = 0xA,
    dictionary = 0xD,
};

} // namespace kiv
