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
    memcpy(to, text.data(), text.size() * sizeof(wchar_t));
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
};

}  // namespace yk
