#include <qecore/core/error.h>

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <iterator>

#include "error_p.h"
#include "format_p.h"

namespace yk {

constinit std::atomic<unsigned> lastStamp = 0;

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
    {YK_E_FORMAT, "YK_E_FORMAT", "unsuitable pixel format"},
    {YK_E_EMPTY, "YK_E_EMPTY", "empty"},
    {YK_E_TOOSHORT, "YK_E_TOOSHORT", "too short to determine its type"},
    {YK_E_ACCESS, "YK_E_ACCESS", "access denied or in use by another program"},
    {YK_E_BADFILE, "YK_E_BADFILE", "damaged, truncated or of another type"},
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

struct SystemText {
  DWORD error;
  wchar_t const* text;
};

constexpr SystemText SYSTEM_TEXTS[] = {
    {ERROR_FILE_NOT_FOUND, L"the file does not exist"},
    {ERROR_PATH_NOT_FOUND, L"the folder does not exist"},
    {ERROR_ACCESS_DENIED, L"access is denied"},
    {ERROR_INVALID_HANDLE, L"not open"},
    {ERROR_NOT_ENOUGH_MEMORY, L"not enough memory"},
    {ERROR_OUTOFMEMORY, L"not enough memory"},
    {ERROR_WRITE_PROTECT, L"the disk is write-protected"},
    {ERROR_NOT_READY, L"the drive is not ready"},
    {ERROR_SHARING_VIOLATION, L"in use by another program"},
    {ERROR_LOCK_VIOLATION, L"in use by another program"},
    {ERROR_HANDLE_DISK_FULL, L"the disk is full"},
    {ERROR_DISK_FULL, L"the disk is full"},
    {ERROR_FILE_EXISTS, L"it already exists"},
    {ERROR_ALREADY_EXISTS, L"it already exists"},
    {ERROR_INVALID_NAME, L"the name is not valid"},
    {ERROR_BAD_PATHNAME, L"the name is not valid"},
    {ERROR_MOD_NOT_FOUND, L"the file, or a library that it needs, does not exist"},
    {ERROR_PROC_NOT_FOUND, L"a library that it needs lacks a function"},
    {ERROR_NEGATIVE_SEEK, L"the position is before its start"},
    {ERROR_BAD_EXE_FORMAT, L"not a 64-bit library"},
    {ERROR_FILENAME_EXCED_RANGE, L"the path is too long"},
    {ERROR_DLL_INIT_FAILED, L"the library failed to initialise"},
};

/// Null for an error that is not in the table.
wchar_t const* DescribeSystem(DWORD error) noexcept {
  for (SystemText const& row : SYSTEM_TEXTS) {
    if (row.error == error) return row.text;
  }
  return nullptr;
}

// ---- the records of each thread ---------------------------------------------------------------------------

constexpr unsigned MOST_THREADS = 128;

constinit ErrorChain chains[MOST_THREADS] = {};
// The identifier of each chain's thread, which is never 0; 0: free. Packed, since they are searched.
constinit std::atomic<DWORD> owners[MOST_THREADS] = {};
constinit std::atomic<unsigned> chainsUsed = 0;  // chains from this index on have never had an owner

/// The calling thread's chain, or null.
ErrorChain* FindChain() noexcept {
  DWORD const thread = GetCurrentThreadId();
  for (unsigned i = 0, end = chainsUsed.load(std::memory_order_relaxed); i < end; ++i) {
    if (owners[i].load(std::memory_order_relaxed) == thread) return &chains[i];
  }
  return nullptr;
}

bool Take(unsigned index) noexcept {
  DWORD unowned = 0;
  if (owners[index].load(std::memory_order_relaxed) != 0) return false;
  if (!owners[index].compare_exchange_strong(unowned, GetCurrentThreadId(), std::memory_order_acquire))
    return false;
  ErrorChain& chain = chains[index];
  chain.count = chain.stamp = chain.length = 0;
  return true;
}

bool HasEnded(DWORD thread) noexcept {
  HANDLE const handle = OpenThread(SYNCHRONIZE, FALSE, thread);
  if (!handle) return GetLastError() == ERROR_INVALID_PARAMETER;  // there is no such thread
  bool const hasEnded = WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
  CloseHandle(handle);
  return hasEnded;
}

/// Frees the chains of threads that ended without a notification, as terminated ones do. \return whether it
/// found one
bool FreeAbandoned() noexcept {
  bool isFound = false;
  for (std::atomic<DWORD>& owner : owners) {
    DWORD thread = owner.load(std::memory_order_relaxed);
    if (thread == 0 || !HasEnded(thread)) continue;
    isFound = true;
    owner.compare_exchange_strong(thread, 0, std::memory_order_release);
  }
  return isFound;
}

constinit std::atomic<DWORD> foundNone = 0;  // the time at which it last found none

/// A free chain for the calling thread, or null.
ErrorChain* TakeFree() noexcept {
  for (unsigned i = 0; i < MOST_THREADS; ++i) {
    if (!Take(i)) continue;
    unsigned used = chainsUsed.load(std::memory_order_relaxed);
    while (used <= i && !chainsUsed.compare_exchange_weak(used, i + 1, std::memory_order_relaxed)) continue;
    return &chains[i];
  }
  return nullptr;
}

/// A chain for the calling thread. Null: other threads have all of them, or had a moment ago: searching opens
/// every thread, which takes too long to be done at every failure.
ErrorChain* TakeChain() noexcept {
  constexpr DWORD PAUSE = 250;  // ms
  if (ErrorChain* const chain = TakeFree()) return chain;
  DWORD const now = GetTickCount();
  if (now - foundNone.load(std::memory_order_relaxed) < PAUSE) return nullptr;
  DWORD const error = GetLastError();  // callers may still need it
  if (!FreeAbandoned()) foundNone.store(now, std::memory_order_relaxed);
  SetLastError(error);
  return TakeFree();
}

ErrorChain* FindOrTakeChain() noexcept {
  ErrorChain* const known = FindChain();
  return known ? known : TakeChain();
}

/// Adds a record to the chain. The causes at its start are the most informative: once it is full, its last
/// record is replaced.
void Append(ErrorChain& chain, Error const& record) noexcept {
  if (chain.length < ErrorChain::LONGEST) ++chain.length;
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

/// What becomes of the earlier records.
enum class Earlier { FORGOTTEN, CAUSES };

Earlier EarlierIf(bool areCauses) noexcept { return areCauses ? Earlier::CAUSES : Earlier::FORGOTTEN; }

HRESULT Record(Earlier earlier, HRESULT code, char const* operation, wchar_t const* format,
               va_list arguments) noexcept {
  ErrorChain* const chain = FindOrTakeChain();
  if (!chain) return code;
  // Made before anything is forgotten: the arguments may be texts of older records.
  Error const record = MakeRecord(code, operation, format, arguments);
  ++chain->count;
  chain->stamp = lastStamp.fetch_add(1, std::memory_order_relaxed) + 1;
  if (earlier == Earlier::FORGOTTEN) chain->length = 0;
  Append(*chain, record);
  return code;
}

/// Copies what a chain holds. The causes still point into the chain that the records came from.
void CopyChain(ErrorChain const& from, ErrorChain& to) noexcept {
  to.count = from.count;
  to.stamp = from.stamp;
  to.length = from.length;
  std::copy_n(from.records, from.length, to.records);
}

/// Appends a text, which may be ASCII, to a line of `size` characters. \return the new length
template <class Char>
size_t AppendText(wchar_t* line, size_t size, size_t length, Char const* text) noexcept {
  while (*text && length + 1 < size) line[length++] = static_cast<wchar_t>(*text++);
  line[length] = 0;
  return length;
}

}  // namespace

HRESULT FailSystem(HRESULT code, char const* operation, wchar_t const* subject,
                   unsigned long error) noexcept {
  constexpr size_t LONGEST_SUBJECT = 150;  // of a longer path the end says more, and the reason must fit
  size_t const length = wcslen(subject);
  if (length > LONGEST_SUBJECT) subject += length - LONGEST_SUBJECT;
  wchar_t const* const reason = DescribeSystem(error);
  if (reason) return Fail(code, operation, L"%s: %s", subject, reason);
  return Fail(code, operation, L"%s: system error %lu", subject, error);
}

HRESULT FailNull(char const* operation, wchar_t const* argument) noexcept {
  return Fail(E_INVALIDARG, operation, L"%s is null", argument);
}

HRESULT FailMemory(char const* operation, size_t bytes) noexcept {
  return Fail(E_OUTOFMEMORY, operation, L"not enough memory for %llu bytes",
              static_cast<unsigned long long>(bytes));
}

Attempt::Attempt() noexcept {
  if (ErrorChain const* const chain = FindChain()) CopyChain(*chain, before);
}

Attempt::~Attempt() {
  ErrorChain* const chain = FindChain();
  if (!chain || isKept || chain->count == before.count) return;
  CopyChain(before, *chain);
  if (chain->count > 0) return;
  owners[chain - chains].store(0, std::memory_order_release);  // it has never failed: others may need it
}

Error const* LastError() noexcept {
  ErrorChain const* const chain = FindChain();
  return chain && chain->length > 0 ? &chain->records[chain->length - 1] : nullptr;
}

HRESULT Fail(HRESULT code, char const* operation, wchar_t const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  Record(Earlier::FORGOTTEN, code, operation, format, arguments);
  va_end(arguments);
  return code;
}

unsigned ErrorCount() noexcept {
  ErrorChain const* const chain = FindChain();
  return chain ? chain->count : 0;
}

HRESULT FailSince(unsigned before, HRESULT code, char const* operation, wchar_t const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  Record(EarlierIf(ErrorCount() != before), code, operation, format, arguments);
  va_end(arguments);
  return code;
}

HRESULT FailSince(FailureMark before, HRESULT code, char const* operation, wchar_t const* format,
                  ...) noexcept {
  ErrorChain const* const chain = FindChain();
  va_list arguments;
  va_start(arguments, format);
  Record(EarlierIf(chain && before.IsBefore(chain->stamp)), code, operation, format, arguments);
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
