// The wildcard matcher. After each element of the pattern it knows all positions in the name that the pattern
// so far can match up to; so a pattern of P elements takes at most P passes over the name, however many stars
// it has.
#include <qecore/io/file_find.h>

#include <string.h>
#include <wctype.h>

#include "core/buffer_p.h"
#include "core/error_p.h"

namespace yk {
namespace {

wchar_t Upper(wchar_t c) noexcept { return static_cast<wchar_t>(towupper(c)); }

bool EqualNoCase(wchar_t const* a, wchar_t const* b) noexcept {
  while (*a && Upper(*a) == Upper(*b)) ++a, ++b;
  return Upper(*a) == Upper(*b);
}

/// The members of a `[...]`, from after the opening bracket to before the closing one.
struct CharClass {
  wchar_t const* first;
  wchar_t const* last;

  bool Has(wchar_t c) const noexcept {
    for (wchar_t const* at = first; at < last; ++at) {
      bool const isRange = last - at > 2 && at[1] == L'-';  // a dash just before the end is a literal
      wchar_t const high = isRange ? at[2] : *at;
      if (Upper(*at) <= c && c <= Upper(high)) return true;
      if (isRange) at += 2;
    }
    return false;
  }
};

class Matcher {
 public:
  /// `places` holds length + 1 zeros.
  Matcher(wchar_t const* text, size_t textLength, bool* places) noexcept
      : name(text), length(textLength), reached(places) {
    reached[0] = true;
  }

  bool Match(wchar_t const* pattern) noexcept {
    while (*pattern) {
      if (*pattern == L'*') {
        Star const found = MatchStar(pattern + 1);
        if (found != Star::GO_ON) return found == Star::YES;
        ++pattern;
      } else {
        pattern = MatchOne(pattern);
      }
      if (!memchr(reached, true, length + 1)) return false;
    }
    return reached[length];
  }

 private:
  enum class Star { NO, YES, GO_ON };

  /// Matches one element that is not a star. \return the pattern after it
  wchar_t const* MatchOne(wchar_t const* pattern) noexcept {
    if (*pattern == L'[') {
      if (wchar_t const* const close = wcschr(pattern, L']')) {
        Advance([members = CharClass{pattern + 1, close}](wchar_t c) { return members.Has(c); });
        return close + 1;
      }
    }
    bool const atEnd = *pattern == L'.' && reached[length];  // a dot also matches the end, consuming nothing
    Advance([wanted = *pattern, upper = Upper(*pattern)](wchar_t c) { return wanted == L'?' || upper == c; });
    reached[length] |= atEnd;
    return pattern + 1;
  }

  /// Advances every position by one character where `accepts` is true for that character (in upper case).
  template <class Accepts>
  void Advance(Accepts accepts) noexcept {
    for (size_t i = length; i > 0; --i) reached[i] = reached[i - 1] && accepts(Upper(name[i - 1]));
    reached[0] = false;
  }

  /// Matches a star, given the rest of the pattern after it.
  Star MatchStar(wchar_t const* rest) noexcept {
    if (!*rest || wcscmp(rest, L".*") == 0) return Star::YES;
    if (wcscmp(rest, L".") == 0) return HasNoExtension() ? Star::YES : Star::NO;
    bool const toDot = *rest == L'.';
    bool const isPlainExtension = toDot && !wcspbrk(rest, L"*?[");
    size_t const none = length;
    size_t start = none;  // the first position from which the rest is tried
    size_t dot = none;    // the next dot, and whether it is the last one
    bool isLastDot = false;
    for (size_t i = length; i-- > 0;) {
      if (name[i] == L'.') {
        isLastDot = dot == none;
        dot = i;
      }
      if (!reached[i]) continue;
      if (isPlainExtension && isLastDot) {
        if (EqualNoCase(rest + 1, name + dot + 1)) return Star::YES;
      } else {
        start = toDot && dot != none ? dot : i;
      }
    }
    // from every position before the end
    for (size_t i = 0; i <= length; ++i) reached[i] = start <= i && i < length;
    return Star::GO_ON;
  }

  /// For `*.`: no dot from some position on, or only one at the very end. At least one position is reached.
  bool HasNoExtension() const noexcept {
    for (size_t i = length;; --i) {
      if (i + 1 < length && name[i] == L'.') return false;
      if (reached[i]) return true;
    }
  }

  wchar_t const* name;
  size_t length;
  bool* reached;  // reached[i]: the pattern so far matches the first i characters
};

}  // namespace

bool RegularCompare(wchar_t const* pattern, wchar_t const* name) noexcept {
  if (!pattern || !name) return false;
  constexpr size_t USUAL_LENGTH = 511;
  size_t const length = wcslen(name);
  bool usual[USUAL_LENGTH + 1];
  Buffer<bool> longer;
  bool const isUsual = length <= USUAL_LENGTH;
  if (!isUsual && !longer.Resize(length + 1)) return FailMemory("RegularCompare", length + 1), false;
  bool* const places = isUsual ? usual : longer.begin();
  memset(places, 0, length + 1);
  return Matcher(name, length, places).Match(pattern);
}

}  // namespace yk
