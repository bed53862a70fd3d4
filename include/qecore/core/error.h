// Why a call failed: a text beside the result code.
//
//   Ref<AbstractImage> image = Ref<AbstractImage>::Adopt(AbstractImage::Load(L"photo.png"));
//   if (!image) {
//     wchar_t message[512];
//     ErrorMessage(LastError(), message, 512);  // "cannot read photo.png: the picture needs 4.3 GB, ..."
//   }
//
// Every public function reports failure by its result: a negative code, null or false. A function that
// refuses or fails also records why, for the calling thread. Success does not clear the record; the next
// failure replaces it, so look at it right after the call that failed.
//
// A result that is not a failure records nothing:
//
//   a look-up that finds nothing   E_FAIL of Map::GetValue, Map::Remove and System::EnumClasses, and of
//                                  UndoManager's GetUndoList, GetUndoName and GetRedoName; YK_E_NOTFOUND or
//                                  YK_E_EMPTY of System::FindClass; YK_E_NOTFOUND of a property that an
//                                  image does not have
//   a value that is not copied     E_INVALIDARG of Variant::Get(Variant&) and of GetValue, for an object, a
//                                  matrix or nothing
//   what an object does not have   E_NOINTERFACE of QueryInterface; E_NOTIMPL of reserved slots, and of those
//                                  that a class does not implement
//   an inner level that ends       E_FAIL of UndoManager::EndTransaction and CancelTransaction
//   the end of a stream            fewer bytes than asked for, and the E_FAIL of MemStream::Read
//   nothing to do                  S_FALSE
//
// When one failure leads to another, the records form a chain, from what the caller asked for down to the
// cause:
//
//   LastError() -> | img::Load           | "cannot read photo.png"               |
//      cause    -> | qewic               | "the picture needs 4.3 GB, ..."       | cause -> null
//
// Plug-ins and hosts report through the same two functions:
//
//   if (!isHeader) return Fail(YK_E_BADFILE, "PngFilter::Read", L"no header");
//
//   unsigned const before = ErrorCount();
//   HRESULT const result = stream->Read(header, sizeof header);
//   if (Failed(result)) return FailSince(before, result, "PngFilter::Read", L"cannot read the header");
//
// Cost: nothing for calls that succeed. A failure formats its text into memory that the library has reserved,
// and allocates none, so that running out of memory can be recorded as well.
// Ownership: records are the library's.
// Threads: each thread has its own. They are kept for 128 threads at a time; in any other thread LastError()
// is null. A new thread with the identifier of one that has ended may find its records.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// One failure.
struct Error {
  static constexpr size_t OPERATION_SIZE = 48;  ///< room for the operation, with the terminator
  static constexpr size_t TEXT_SIZE = 224;      ///< room for the text, with the terminator

  HRESULT code;                    ///< what the operation returned, or what a null or false result means
  Error const* cause;              ///< the failure that led to this one; null for the first
  char operation[OPERATION_SIZE];  ///< the function that failed, such as "Image2d::Create"; truncated to fit
  wchar_t text[TEXT_SIZE];         ///< what failed and why, in one line; may be empty; truncated to fit
};

static_assert(sizeof(Error) == 512);

/// The calling thread's last failure. Null: there was none. Valid until the thread's next failure.
YK_API Error const* LastError() noexcept;

/// Records a failure of the calling thread without a known cause. The format is the Microsoft C
/// runtime's: `%s` takes UTF-16. \return `code`
YK_API HRESULT Fail(HRESULT code, char const* operation, wchar_t const* format, ...) noexcept;

/// The number of failures that the calling thread has recorded so far: a mark for FailSince.
YK_API unsigned ErrorCount() noexcept;

/// Like Fail; what the thread has recorded since ErrorCount() was `before`, if anything, is the cause. A
/// chain keeps its four most informative records: the first three and the last. \return `code`
YK_API HRESULT FailSince(unsigned before, HRESULT code, char const* operation, wchar_t const* format,
                         ...) noexcept;

/// Writes a chain as one line: each record's text, or that of its code if it has none, separated by ": ".
/// Truncates and always terminates. A null `error` gives an empty line. \return its length
YK_API size_t ErrorMessage(Error const* error, wchar_t* buffer, size_t size) noexcept;

/// The name of a result code, "YK_E_NOTFOUND"; "unknown" for a code that the library does not return. Static.
YK_API char const* ErrorName(HRESULT code) noexcept;

/// What a result code means, in a few words: "not found". Static.
YK_API char const* ErrorText(HRESULT code) noexcept;

}  // namespace yk
