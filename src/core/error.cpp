#include "format_p.h"

#include <qecore/core/error.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <iterator>

#include "error_p.h"

namespace yk {

namespace {

// ---- what codes mean --------------------------------------------------------------------------------------

struct CodeText {
  HRESULT code;
  char const* name;
  char const* text;
};

// The last row is for every other code.
constexpr CodeText CODES[] = {
    {S_OK, "S_OK", "success"},
    {S_FALSE, "S_FALSE", "nothing to do"},
    {YK_E_NOTFOUND, "YK_E_NOTFOUND", "not found"},
    {YK_E_FORMAT, "YK_E_FORMAT", "the pixel format does not suit"},
    {YK_E_EMPTY, "YK_E_EMPTY", "nothing in it"},
    {YK_E_TOOSHORT, "YK_E_TOOSHORT", "too short to tell its type"},
    {YK_E_ACCESS, "YK_E_ACCESS", "access denied or in use by another program"},
    {YK_E_BADFILE, "YK_E_BADFILE", "damaged, truncated or not what its name says"},
    {E_ABORT, "E_ABORT", "stopped"},
    {E_FAIL, "E_FAIL", "failed"},
    {E_INVALIDARG, "E_INVALIDARG", "invalid argument"},
    {E_NOINTERFACE, "E_NOINTERFACE", "no such interface"},
    {E_NOTIMPL, "E_NOTIMPL", "not supported"},
    {E_OUTOFMEMORY, "E_OUTOFMEMORY", "not enough memory"},
    {0, "unknown", "unknown error"},
};

CodeText const& Describe(HRESULT code) noexcept {
  CodeText const* const last = std::end(CODES) - 1;
  return *std::find_if(CODES, last, [=](CodeText const& row) { return row.code == code; });
}

// ---- the records of each thread ---------------------------------------------------------------------------

constexpr unsigned MOST_THREADS = 128;
constexpr unsigned LONGEST_CHAIN = 4;

/// A chain, the cause first. Only its thread touches it, but for `owner`.
struct Chain {
  std::atomic<DWORD> owner;  // a thread's number, which is never 0; 0: free
  unsigned count;            // failures so far
  unsigned length;           // records of the last one
  Error records[LONGEST_CHAIN];
};

constinit Chain chains[MOST_THREADS] = {};

/// The calling thread's chain, or null.
Chain* FindChain() noexcept {
  DWORD const thread = GetCurrentThreadId();
  for (Chain& chain : chains) {
    if (chain.owner.load(std::memory_order_relaxed) == thread) return &chain;
  }
  return nullptr;
}

/// A chain for the calling thread. Null: other threads have all of them.
Chain* TakeChain() noexcept {
  for (Chain& chain : chains) {
    DWORD nobody = 0;
    if (chain.owner.load(std::memory_order_relaxed) != 0) continue;
    if (!chain.owner.compare_exchange_strong(nobody, GetCurrentThreadId(), std::memory_order_acquire))
      continue;
    chain.count = chain.length = 0;
    return &chain;
  }
  return nullptr;
}

/// Adds a record to the chain. The causes at its start say most: once it is full, its last record is
/// replaced.
void Append(Chain& chain, Error const& record) noexcept {
  if (chain.length < LONGEST_CHAIN) ++chain.length;
  Error* const last = &chain.records[chain.length - 1];
  *last = record;
  last->cause = chain.length > 1 ? last - 1 : nullptr;
}

Error MakeRecord(HRESULT code, char const* operation, wchar_t const* format, va_list arguments) noexcept {
  Error record = {code, nullptr, {}, {}};
  for (size_t i = 0; operation && operation[i] && i + 1 < Error::OPERATION_SIZE; ++i) {
    record.operation[i] = operation[i];
  }
  if (format) FormatText(record.text, Error::TEXT_SIZE, format, arguments);
  return record;
}

HRESULT Record(bool hasCause, HRESULT code, char const* operation, wchar_t const* format,
               va_list arguments) noexcept {
  Chain* const known = FindChain();
  Chain* const chain = known ? known : TakeChain();
  if (!chain) return code;
  Error const record =
      MakeRecord(code, operation, format, arguments);  // the texts may be those of older records
  ++chain->count;
  if (!hasCause) chain->length = 0;
  Append(*chain, record);
  return code;
}

/// Appends a text, which may be ASCII, to a line of `size` characters. \return the new length
template <class Char>
size_t AppendText(wchar_t* line, size_t size, size_t length, Char const* text) noexcept {
  while (*text && length + 1 < size) line[length++] = static_cast<wchar_t>(*text++);
  line[length] = 0;
  return length;
}

}  // namespace

void ForgetErrorsOfThread() noexcept {
  if (Chain* const chain = FindChain()) chain->owner.store(0, std::memory_order_release);
}

Error const* LastError() noexcept {
  Chain const* const chain = FindChain();
  return chain ? &chain->records[chain->length - 1] : nullptr;
}

HRESULT Fail(HRESULT code, char const* operation, wchar_t const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  Record(false, code, operation, format, arguments);
  va_end(arguments);
  return code;
}

unsigned ErrorCount() noexcept {
  Chain const* const chain = FindChain();
  return chain ? chain->count : 0;
}

HRESULT FailSince(unsigned before, HRESULT code, char const* operation, wchar_t const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  Record(ErrorCount() != before, code, operation, format, arguments);
  va_end(arguments);
  return code;
}

size_t ErrorMessage(Error const* error, wchar_t* buffer, size_t size) noexcept {
  if (!buffer || size == 0) return 0;
  size_t length = 0;
  buffer[0] = 0;
  for (bool first = true; error; error = error->cause, first = false) {
    if (!first) length = AppendText(buffer, size, length, ": ");
    length = error->text[0] ? AppendText(buffer, size, length, error->text)
                            : AppendText(buffer, size, length, ErrorText(error->code));
  }
  return length;
}

char const* ErrorName(HRESULT code) noexcept { return Describe(code).name; }

char const* ErrorText(HRESULT code) noexcept { return Describe(code).text; }

}  // namespace yk
