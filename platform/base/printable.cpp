// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "printable.h"

#include <QChar>

#include <algorithm>
#include <cstdio>

namespace hq {

namespace {

// Length of the character of valid UTF-8 that the text begins with, 0 when it begins with none.
// Qt's decoder does not tell which bytes are wrong.
std::size_t characterLength(std::string_view text, char32_t *character)
{
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    std::size_t length = 1;
    if (byte(0) >= 0x80)
        length = byte(0) < 0xc2 ? 0 : byte(0) < 0xe0 ? 2 : byte(0) < 0xf0 ? 3 : 4;
    if (length == 0 || length > text.size())
        return 0;
    *character = length == 1 ? byte(0) : byte(0) & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80)
            return 0;
        *character = *character << 6 | (byte(i) & 0x3f);
    }
    // Overlong, half of a surrogate pair, or beyond U+10FFFF.
    constexpr char32_t kMinCharacter[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isWrong = *character < kMinCharacter[length] || QChar::isSurrogate(*character) ||
                         *character > QChar::LastValidCodePoint;
    return isWrong ? 0 : length;
}

bool isPrintable(char32_t character)
{
    return QChar::isPrint(character) && character != QChar::LineSeparator &&
           character != QChar::ParagraphSeparator;
}

std::string escaped(char letter, int digits, unsigned code)
{
    char text[16];
    std::snprintf(text, sizeof text, "\\%c%0*x", letter, digits, code);
    return text;
}

} // namespace

std::string printable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        char32_t character = 0;
        const std::size_t length = characterLength(text, &character);
        if (length == 0)
            result += escaped('x', 2, static_cast<unsigned char>(text[0]));
        else if (isPrintable(character))
            result += text.substr(0, length);
        else if (character < 0xa0)
            result += escaped('x', 2, character);
        else
            result += character <= 0xffff ? escaped('u', 4, character) : escaped('U', 8, character);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

} // namespace hq
