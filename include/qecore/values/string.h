// yk::String: the library's string class, an owned UTF-16 string the size of one pointer.
//
//   String path(L"c:\\pictures");
//   path.TerminatePath();
//   path += L"sunset.png";
//   if (path.FileExt() == L"png") ...
//
//   offset  0                        the string
//           +----------------+
//           | block, or null |       null is the empty string; no block has the length 0
//           +----------------+
//
//   offset  0          8                            8 + 2 length
//           +----------+----------------------------+----+- - - - - - +
//           | length   | characters                 | 0  | spare room |     the block
//           +----------+----------------------------+----+- - - - - - +
//           room for length + 1 characters, rounded up to a multiple of 32; a long text that was appended to
//           has more
//
// The length counts 16-bit units and is authoritative: embedded zeros are allowed. Operations on C strings
// (comparing, searching for a text, printf) nevertheless stop at the first zero.
//
// Ownership: a string owns its block; copying copies the block. Blocks come from yk_new and yk_realloc,
// except those of constant strings that the library shows inside larger objects.
// Failure: an operation that gets no memory leaves the string unchanged (a new string is then empty). The
// editing members return false for an invalid position and change nothing; searches return npos. Arguments
// may point into the string itself. One thread at a time.
#pragma once

#include <qecore/core/guid.h>

namespace yk {

class Deserializer;
class Serializer;

class String {
 public:
  /// What a search returns when it finds nothing.
  YK_API_INLINE static constexpr size_t npos = static_cast<size_t>(-1);

  // ---- construction and lifetime

  String() noexcept = default;
  /// Copies the whole block, spare room included; of a long text only what its length states.
  YK_API_INLINE String(String const& other) noexcept { AssignBlock(other); }
  String(String&& other) noexcept : block(other.block) { other.block = nullptr; }
  /// The identifier's text form.
  YK_API_INLINE explicit String(Guid const& id) noexcept { AssignGuid(id); }
  /// One character, sign-extended; the code page is not used. Zero makes a string of one zero character.
  YK_API_INLINE explicit String(char c) noexcept
      : String(static_cast<wchar_t>(static_cast<signed char>(c))) {}
  YK_API_INLINE explicit String(wchar_t c) noexcept { Assign(&c, 1); }
  /// From the ANSI code page. Null makes an empty string.
  YK_API_INLINE String(char const* text) noexcept { AssignAnsi(text); }
  YK_API_INLINE String(wchar_t const* text) noexcept { *this = text; }
  /// Exactly `length` characters, zeros included.
  YK_API_INLINE String(wchar_t const* text, size_t length) noexcept {
    if (text) Assign(text, length);
  }
  /// A window's text. Its length is the one that the window reports first.
  YK_API_INLINE explicit String(HWND window) noexcept { AssignWindow(window); }
  ~String() { Empty(); }

  /// Frees the block.
  YK_API void Empty() noexcept;

  // ---- access

  /// Characters, not counting the terminator.
  size_t Length() const noexcept { return block ? static_cast<size_t>(block->length) : 0; }
  bool IsEmpty() const noexcept { return !block; }

  /// The characters; for an empty string a zero-length C string, never null.
  wchar_t const* c_str() const noexcept { return block ? Text(block) : L""; }
  /// The characters; null for an empty string.
  wchar_t* GetBuffer() noexcept { return block ? Text(block) : nullptr; }
  wchar_t const* GetBuffer() const noexcept { return block ? Text(block) : nullptr; }

  /// All characters, zeros included, for loops and algorithms; the terminator is at the end.
  wchar_t const* begin() const noexcept { return c_str(); }
  wchar_t const* end() const noexcept { return c_str() + Length(); }

  /// A view of the characters, as std::wstring_view; for the classes that are made of an address and a length
  /// and have remove_prefix. Borrowed until the string changes.
  template <class View>
  requires requires(View& view, wchar_t const* text, size_t length) {
    View(text, length);
    view.remove_prefix(length);
  }
  operator View() const noexcept { return View(c_str(), Length()); }

  /// The character at `index`; zero out of range.
  YK_API wchar_t At(size_t index) const noexcept;
  YK_API bool SetAt(size_t index, wchar_t c) noexcept;

  /// Copies up to the first zero, at most size - 1 characters, and terminates. An empty string, and a size of
  /// 0, write buffer[0] = 0: the buffer must hold at least one character.
  YK_API void Get(wchar_t* buffer, size_t size) const noexcept;
  /// To the ANSI code page. An empty string writes buffer[0] = 0. A text that does not fit leaves in the
  /// buffer what the platform leaves.
  YK_API void Get(char* buffer, size_t size) const noexcept;
  /// To UTF-8, by str::WToUTF8.
  YK_API void GetUTF8(char* buffer, size_t size) const noexcept;
  /// The leading number, or 0.
  YK_API int GetInt() const noexcept;

  // ---- assignment and concatenation

  /// Becomes a copy; unchanged when there is no memory for it.
  YK_API String& operator=(String const& other) noexcept;
  YK_API String& operator=(String&& other) noexcept;
  YK_API String& operator=(wchar_t const* text) noexcept;

  /// Both, joined; empty when there is no memory.
  YK_API_INLINE String operator+(String const& other) const noexcept {
    String sum;
    Join(other, sum);
    return sum;
  }
  /// Appends; unchanged when there is no memory.
  YK_API String& operator+=(String const& other) noexcept;
  YK_API String& operator+=(wchar_t const* text) noexcept;
  /// From the ANSI code page.
  YK_API String& operator+=(char const* text) noexcept;

  /// Formats as str::printf does and assigns; printf_add appends. Truncated at 8191 characters.
  YK_API void printf(wchar_t const* format, ...) noexcept;
  YK_API void printf_add(wchar_t const* format, ...) noexcept;

  // ---- comparison; an empty string counts as an empty text

  /// Negative, zero or positive, by 16-bit units, up to the first zero; NoCase by the user's locale.
  YK_API int Compare(String const& other) const noexcept;
  YK_API int CompareNoCase(String const& other) const noexcept;
  bool operator<(String const& other) const noexcept { return Compare(other) < 0; }
  bool operator>(String const& other) const noexcept { return Compare(other) > 0; }
  bool operator>=(String const& other) const noexcept { return Compare(other) >= 0; }
  bool operator<=(String const& other) const noexcept { return Compare(other) <= 0; }
  /// Equal in length, and equal up to the first zero.
  YK_API bool operator==(String const& other) const noexcept;
  bool operator!=(String const& other) const noexcept { return !(*this == other); }
  YK_API bool operator==(wchar_t const* text) const noexcept;
  /// Character by character, each byte sign-extended; the code page is not used, so that bytes from 0x80 up
  /// equal no letter.
  YK_API bool operator==(char const* text) const noexcept;

  // ---- searching

  /// The first occurrence; zeros can be found.
  YK_API size_t Find(wchar_t c) const noexcept;
  /// The first match. A null or empty text is found at 0, except in an empty string.
  YK_API size_t Find(wchar_t const* text) const noexcept;
  /// The first match. An empty string is found nowhere.
  YK_API size_t Find(String const& text) const noexcept;
  /// The first match of the text converted from the ANSI code page. Null is found at 0, an empty text
  /// nowhere.
  YK_API size_t Find(char const* text) const noexcept;
  /// The last match; matches may overlap. A null or empty text is found nowhere.
  YK_API size_t RFind(wchar_t const* text) const noexcept;
  YK_API size_t RFind(String const& text) const noexcept;

  // ---- editing

  /// Sets the length. New characters are uninitialised, except the terminator. 0 frees the block.
  /// \return true; false, with the string unchanged, only when there is no memory
  YK_API bool Realloc(size_t length) noexcept;
  /// The same without a result; truncates the string to `length` characters.
  void Terminate(size_t length) noexcept { Realloc(length); }
  /// False for a position past the end and for a null or empty text.
  YK_API bool AtInsert(size_t position, wchar_t const* text) noexcept;
  /// False unless the whole range is inside the string. The characters after the range, up to the first zero,
  /// move down.
  YK_API bool AtDelete(size_t position, size_t count) noexcept;
  /// Like AtDelete, but clamps the range to the string's end.
  YK_API bool Cut(size_t position, size_t count) noexcept;
  /// The first or the last characters, at most `count`.
  YK_API_INLINE String Left(size_t count) const noexcept {
    return String(c_str(), count < Length() ? count : Length());
  }
  YK_API_INLINE String Right(size_t count) const noexcept {
    size_t const kept = count < Length() ? count : Length();
    return String(c_str() + (Length() - kept), kept);
  }
  /// Strips spaces and tabs from both ends. False when there were none.
  YK_API bool Trim() noexcept;
  /// A copy with the escapes `\b \n \r \t` (in either case) resolved; a backslash before any other character
  /// is dropped, and a single trailing one stays.
  YK_API_INLINE String Parse_C_string() const noexcept {
    String result;
    Unescape(result);
    return result;
  }
  /// False for an empty string.
  YK_API bool MakeUpper() noexcept;
  YK_API bool MakeLower() noexcept;
  /// Makes the text a double-zero-terminated list: the length grows by one, and the new last character is a
  /// zero. Contract: an empty string becomes two characters long, and character 0 is left uninitialised.
  YK_API bool DoubleTerminate() noexcept;

  // ---- paths; the separator is the last `\`, or the last `/` in a text that has no `\` at all

  /// The part after the last dot of the whole text, folders included: `dir.v\file` gives `v\file` (contract).
  YK_API_INLINE String FileExt() const noexcept {
    wchar_t const* const extension = Extension();
    return extension ? String(extension) : String();
  }
  /// The part before the separator.
  YK_API_INLINE String FilePath() const noexcept {
    size_t const separator = Separator();
    return separator != npos ? Left(separator) : String();
  }
  /// The part after the separator. A bare name without a separator gives an empty string (contract).
  YK_API_INLINE String FileShortName() const noexcept {
    size_t const separator = Separator();
    return separator != npos ? String(c_str() + separator + 1) : String();
  }
  /// Truncates at the last dot of the whole text.
  YK_API void RemoveExtension() noexcept;
  /// Appends `\` unless the text is empty or ends in `\` or `/`.
  YK_API void TerminatePath() noexcept;
  /// Removes one trailing `\` or `/`.
  YK_API void UnterminatePath() noexcept;
  /// Creates an empty file in the user's temporary folder and becomes its path. False, with the string
  /// unchanged, when the system cannot create one.
  YK_API bool TempFile() noexcept;
  /// Becomes `base` joined with `rel`. Leading `..\` of `rel` remove folders from the end of `base`; a single
  /// dot stays. At most 509 characters of `base` and 255 of `rel` are used. False, with the string unchanged,
  /// only when `rel` is empty.
  YK_API bool FileConcatePaths(String const& base, String const& rel) noexcept;

  // ---- persistence: a chunk whose payload is the characters, without terminator or count

  /// Writes the chunk, tagged with the low 16 bits of `tag`; an empty string writes nothing.
  /// \return S_OK, S_FALSE for an empty string, or the writer's failure
  YK_API HRESULT Save(Serializer* writer, int tag) const noexcept;
  /// Reads the reader's current chunk. Without memory for it the string ends up empty.
  /// \return true, even if the chunk holds no text
  YK_API bool Load(Deserializer* reader) noexcept;

 private:
  struct Block {
    uint64_t length;
    // the characters and their terminator follow
  };

  static wchar_t* Text(Block* block) noexcept { return reinterpret_cast<wchar_t*>(block + 1); }

  YK_API void Assign(wchar_t const* text, size_t length) noexcept;
  // Into an empty string.
  YK_API void AssignBlock(String const& other) noexcept;
  YK_API void AssignGuid(Guid const& id) noexcept;
  YK_API void AssignAnsi(char const* text) noexcept;
  YK_API void AssignWindow(HWND window) noexcept;
  YK_API void Join(String const& other, String& sum) const noexcept;
  YK_API void Unescape(String& out) const noexcept;

  // The part after the last dot; null without one.
  YK_API wchar_t const* Extension() const noexcept;
  YK_API size_t Separator() const noexcept;
  void Append(wchar_t const* text, size_t length) noexcept;
  bool Extend(size_t length) noexcept;
  bool Holds(wchar_t const* text) const noexcept;

  friend struct InnerText;

  Block* block = nullptr;
};

static_assert(sizeof(String) == sizeof(void*));

}  // namespace yk
