// Strings whose block lies inside a larger one, for owners of many texts.
#pragma once

#include <qecore/values/string.h>
#include <string.h>

#include <string_view>

namespace yk {

/// The block of an inner text begins at 8 from a multiple of 32, where no block of a heap ever begins: those
/// begin at a multiple of 16, or, where each ends at a page, at 8 less than a multiple of 32. So a copy knows
/// that the heap cannot tell its size. The owner of the larger block detaches the text before the string
/// frees or changes it.
struct InnerText {
  static constexpr size_t ALIGNMENT = 32;
  static constexpr size_t OFFSET = 8;
  static constexpr size_t HEADER = 8;

  /// The bytes of a block for so many characters.
  static constexpr size_t Size(size_t length) noexcept { return HEADER + (length + 1) * sizeof(wchar_t); }

  /// Writes a text to a place of that size and lets an empty string have it.
  static void Attach(String& string, void* place, std::wstring_view text) noexcept {
    string.block = static_cast<String::Block*>(place);
    string.block->length = text.size();
    wchar_t* const to = String::Text(string.block);
    CopyShort(text.data(), text.size(), to);
    to[text.size()] = 0;
  }

  /// Shares the text of another string of the same owner.
  static void Share(String& string, String const& other) noexcept { string.block = other.block; }

  static bool Is(String const& string) noexcept {
    return reinterpret_cast<uintptr_t>(string.block) % ALIGNMENT == OFFSET;
  }

  /// Empties the string if it is an inner text.
  static void Detach(String& string) noexcept {
    if (Is(string)) string.block = nullptr;
  }

  /// Does what a destructor does.
  static void Drop(String& string) noexcept {
    if (string.block && !Is(string)) string.Empty();
  }

 private:
  /// Most texts are short: a call would take longer than the copying.
  static void CopyShort(wchar_t const* from, size_t count, wchar_t* to) noexcept {
    size_t i = 0;
    for (; i + 4 <= count; i += 4) memcpy(to + i, from + i, 4 * sizeof(wchar_t));
    for (; i < count; ++i) to[i] = from[i];
  }
};

}  // namespace yk
