// yk::String: the library's text, an owned UTF-16 string that is one pointer.
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
//           room for length + 1 characters, rounded up to a multiple of 32
//
// The length counts 16-bit units and is authoritative: a zero character inside the string is allowed. What
// works on C strings (comparing, searching for a text, printf) stops at the first zero all the same.
//
// Ownership: a string owns its block; copying copies it. Blocks come from yk_new and yk_realloc.
// Failure: an operation that gets no memory leaves the string as it was (a new string is then empty). The
// editing members answer false for a bad position and change nothing; searches answer npos.
// Texts that are passed in may lie inside the string itself. One thread at a time.
#pragma once

#include <qecore/core/guid.h>

namespace yk {

class Deserializer;
class Serializer;

class YK_API String {
 public:
  /// What a search answers when there is nothing to find.
  static constexpr size_t npos = static_cast<size_t>(-1);

  // ---- construction and lifetime

  String() noexcept = default;
  /// Copies the whole block, spare room included.
  String(String const& other) noexcept;
  String(String&& other) noexcept : block(other.block) { other.block = nullptr; }
  /// The identifier's text form.
  explicit String(Guid const& id) noexcept;
  /// One character, sign-extended; the code page plays no part. Zero gives a string of one zero character.
  explicit String(char c) noexcept;
  explicit String(wchar_t c) noexcept;
  /// From the ANSI code page. Null gives an empty string.
  String(char const* text) noexcept;
  String(wchar_t const* text) noexcept;
  /// Exactly `length` characters, zeros included.
  String(wchar_t const* text, size_t length) noexcept;
  /// A window's text. The length is the one that the window promises first.
  explicit String(HWND window) noexcept;
  ~String() { Empty(); }

  /// Frees the block.
  void Empty() noexcept;

  // ---- access

  /// Characters, the terminator not counted.
  size_t Length() const noexcept { return block ? static_cast<size_t>(block->length) : 0; }
  bool IsEmpty() const noexcept { return !block; }

  /// The characters; an empty text, never null, for an empty string.
  wchar_t const* c_str() const noexcept { return block ? Text(block) : L""; }
  /// The characters; null for an empty string.
  wchar_t* GetBuffer() noexcept { return block ? Text(block) : nullptr; }
  wchar_t const* GetBuffer() const noexcept { return block ? Text(block) : nullptr; }

  /// The character at `index`; zero out of range.
  wchar_t At(size_t index) const noexcept;
  bool SetAt(size_t index, wchar_t c) noexcept;

  /// Copies up to the first zero character, at most size - 1 characters, and terminates. An empty string, and
  /// a size of 0, write buffer[0] = 0: the buffer must hold at least one character.
  void Get(wchar_t* buffer, size_t size) const noexcept;
  /// To the ANSI code page. An empty string writes buffer[0] = 0. A text that does not fit leaves what the
  /// platform leaves.
  void Get(char* buffer, size_t size) const noexcept;
  /// To UTF-8, by str::WToUTF8.
  void GetUTF8(char* buffer, size_t size) const noexcept;
  /// The number that the text begins with; 0 when it begins with none.
  int GetInt() const noexcept;

  // ---- assignment and concatenation

  String& operator=(String const& other) noexcept;
  String& operator=(String&& other) noexcept;
  String& operator=(wchar_t const* text) noexcept;

  String operator+(String const& other) const noexcept;
  String& operator+=(String const& other) noexcept;
  String& operator+=(wchar_t const* text) noexcept;
  /// From the ANSI code page.
  String& operator+=(char const* text) noexcept;

  /// Formats as str::printf does and assigns; printf_add appends. Cut at 8191 characters.
  void printf(wchar_t const* format, ...) noexcept;
  void printf_add(wchar_t const* format, ...) noexcept;

  // ---- comparison; an empty string counts as an empty text

  int Compare(String const& other) const noexcept;
  int CompareNoCase(String const& other) const noexcept;
  bool operator<(String const& other) const noexcept { return Compare(other) < 0; }
  bool operator>(String const& other) const noexcept { return Compare(other) > 0; }
  bool operator>=(String const& other) const noexcept { return Compare(other) >= 0; }
  bool operator<=(String const& other) const noexcept { return Compare(other) <= 0; }
  /// Equal in length, and in the text up to the first zero character.
  bool operator==(String const& other) const noexcept;
  bool operator!=(String const& other) const noexcept { return !(*this == other); }
  bool operator==(wchar_t const* text) const noexcept;
  /// Character by character, each byte sign-extended; the code page plays no part, so bytes from 0x80 up
  /// equal no letter.
  bool operator==(char const* text) const noexcept;

  // ---- searching

  /// The first such character; zeros can be found.
  size_t Find(wchar_t c) const noexcept;
  /// The first match. A null or an empty text is found at 0, except in an empty string.
  size_t Find(wchar_t const* text) const noexcept;
  /// The first match. An empty string is found nowhere.
  size_t Find(String const& text) const noexcept;
  /// The first match of what the ANSI code page gives. Null is found at 0, an empty text nowhere.
  size_t Find(char const* text) const noexcept;
  /// The last match; matches may overlap. A null or an empty text is found nowhere.
  size_t RFind(wchar_t const* text) const noexcept;
  size_t RFind(String const& text) const noexcept;

  // ---- editing

  /// Sets the length. New characters are not initialised, but for the terminator. 0 frees the block.
  /// \return true; false, and nothing has changed, only when there is no memory
  bool Realloc(size_t length) noexcept;
  /// The same without a result; cuts the string to `length` characters.
  void Terminate(size_t length) noexcept { Realloc(length); }
  /// False for a position behind the end and for a null or an empty text.
  bool AtInsert(size_t position, wchar_t const* text) noexcept;
  /// False when the range is not wholly inside the string. What follows the range up to the first zero
  /// character moves down.
  bool AtDelete(size_t position, size_t count) noexcept;
  /// Like AtDelete, but cuts a range that is too long at the string's end.
  bool Cut(size_t position, size_t count) noexcept;
  /// The first or the last characters, at most `count`.
  String Left(size_t count) const noexcept;
  String Right(size_t count) const noexcept;
  /// Strips spaces and tabs from both ends. False: there were none.
  bool Trim() noexcept;
  /// A copy with the escapes `\b \n \r \t` (in either case) resolved; a backslash before any other character
  /// is dropped, and a lone one at the end stays.
  String Parse_C_string() const noexcept;
  /// False for an empty string.
  bool MakeUpper() noexcept;
  bool MakeLower() noexcept;
  /// Makes the text a list that two zeros end: its length grows by one, and the new last character is a zero.
  /// An empty string becomes two characters long and its character 0 is not written: this is intended.
  bool DoubleTerminate() noexcept;

  // ---- paths; the separator is the last `\`, or the last `/` in a text that has no `\` at all

  /// What follows the last dot of the whole text, folders included: `dir.v\file` gives `v\file`.
  String FileExt() const noexcept;
  /// What stands before the separator.
  String FilePath() const noexcept;
  /// What follows the separator. A bare name without any separator gives an empty string: this is required.
  String FileShortName() const noexcept;
  /// Cuts at the last dot of the whole text.
  void RemoveExtension() noexcept;
  /// Appends `\` unless the text is empty or ends in `\` or `/`.
  void TerminatePath() noexcept;
  /// Takes away one `\` or `/` at the end.
  void UnterminatePath() noexcept;
  /// Makes an empty file in the user's temporary folder and becomes its path. False, and the string is
  /// unchanged, when the system makes none.
  bool TempFile() noexcept;
  /// Becomes `base` joined with `rel`. Leading `..\` of `rel` remove folders from the end of `base`; a single
  /// dot stays. At most 509 characters of `base` and 255 of `rel` count. False, and the string is unchanged,
  /// only when `rel` is empty.
  bool FileConcatePaths(String const& base, String const& rel) noexcept;

  // ---- persistence: a chunk whose payload is the characters, with neither terminator nor count

  /// Writes the chunk, under the low 16 bits of `tag`; an empty string writes nothing.
  /// \return S_OK, S_FALSE for an empty string, or the writer's failure
  HRESULT Save(Serializer* writer, int tag) const noexcept;
  /// Reads the chunk in which the reader stands. Without memory for it the string ends empty.
  /// \return true, whatever the chunk held
  bool Load(Deserializer* reader) noexcept;

 private:
  struct Block {
    uint64_t length;
    // the characters and their terminator follow
  };

  static wchar_t* Text(Block* block) noexcept { return reinterpret_cast<wchar_t*>(block + 1); }

  void Assign(wchar_t const* text, size_t length) noexcept;
  void Append(wchar_t const* text, size_t length) noexcept;
  bool Holds(wchar_t const* text) const noexcept;
  size_t Separator() const noexcept;

  Block* block = nullptr;
};

static_assert(sizeof(String) == sizeof(void*));

}  // namespace yk
