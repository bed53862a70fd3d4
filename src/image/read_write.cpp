// Reading and writing through whichever filter accepts a file.
#include <qecore/image/image_file.h>

#include <qecore/core/error.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/save_file.h>

#include <iterator>

#include "core/error_p.h"
#include "core/registry_p.h"
#include "filter_run_p.h"
#include "filters_p.h"
#include "io/file_type_p.h"
#include "io/file_window_p.h"
#include "io/stream_p.h"

namespace yk {

namespace {

constexpr char READ[] = "img::Read";
constexpr char WRITE[] = "img::Write";
constexpr char QUERY[] = "img::QueryInfo";
constexpr wchar_t UNREADABLE[] = L"the stream cannot be read";

/// What is wanted from a file. One of `image` and `info` is set.
struct Request {
  char const* operation;
  Map* options;
  ExecutionContext* context;
  AbstractImage** image;
  Map* info;
  Guid* type;
};

/// Adds why the last call failed.
void AddMessage(FailureText& text) noexcept {
  wchar_t message[Error::TEXT_SIZE];
  ErrorMessage(LastError(), message, std::size(message));
  text.Add(L"%s", message);
}

/// A search for the filter that accepts a file.
class Search {
 public:
  Search(Stream& forStream, Request const& forRequest) noexcept
      : stream(forStream), request(forRequest), position(forStream.GetPosition()) {}

  HRESULT Run() noexcept;

 private:
  /// Which filters are tried, step after step.
  enum Step { BY_SIGNATURE, BY_NAME, BY_ASKING, STEP_COUNT };

  void Detect() noexcept;
  HRESULT Try(Step step) noexcept;
  HRESULT TryClass(Step step, Guid const& id) noexcept;
  bool Wants(Step step, ClassInfo const& filter) noexcept;
  HRESULT TryFilter(Step step, Guid const& id) noexcept;
  HRESULT Ask(Step step, ykFlt2dEx* filter, Guid const& id) noexcept;
  HRESULT Use(ykFlt2d& filter, ykFlt2dEx* extended) noexcept;
  HRESULT Query(ykFlt2d& filter) noexcept;
  void Refused(HRESULT result, Guid const& id) noexcept;
  HRESULT Result() noexcept;

  Stream& stream;
  Request const& request;
  unsigned position;
  Buffer<Guid> filters;  // their classes
  String name;           // of a file stream
  HRESULT detected = S_OK;
  Guid type = {};             // if it was detected
  HRESULT unreadable = S_OK;  // the failure that may have prevented it, and its reason
  FailureText whyUnreadable;
  unsigned refusals = 0;
  HRESULT firstRefusal = YK_E_NOTFOUND;
  FailureText reasons;
  bool isAccepted = false;  // a filter has recognised the file, or tried to read it
  bool isOver = false;      // no other filter is to be tried
};

void Search::Detect() noexcept {
  Attempt const attempt;
  unsigned const before = ErrorCount();
  detected = DetectFileType(stream, type, unreadable);
  if (Failed(unreadable) && ErrorCount() != before) AddMessage(whyUnreadable);
  if (whyUnreadable.IsEmpty()) whyUnreadable.Add(UNREADABLE);
  if (Ref<FileStream> const file = Ref<Stream>::Share(&stream).Query<FileStream>()) file->GetFileName(name);
}

bool Search::Wants(Step step, ClassInfo const& filter) noexcept {
  bool const isOfType = Succeeded(detected) && IsForType(filter, type);
  if (step == BY_SIGNATURE) return isOfType;
  bool const isNamed = !name.IsEmpty() && HasPatternFor(filter, name.c_str());
  return !isOfType && isNamed == (step == BY_NAME);
}

/// S_OK: the filter may be used. S_FALSE: it is not to be tried.
HRESULT Search::Ask(Step step, ykFlt2dEx* filter, Guid const& id) noexcept {
  if (!filter) return step == BY_ASKING ? S_FALSE : S_OK;
  unsigned const before = ErrorCount();
  HRESULT const can = filter->CanRead(&stream);
  SeekTo(stream, position);
  if (can == S_OK || step == BY_ASKING) return can == S_OK ? S_OK : S_FALSE;
  if (can == E_NOTIMPL) return S_OK;
  if (can == S_FALSE && isAccepted) return S_FALSE;
  if (can == S_FALSE) return Fail(YK_E_BADFILE, request.operation, L"not a %s file", LabelOf(id).c_str());
  isAccepted = true;
  return FailSince(before, can, request.operation, L"it cannot be read");
}

HRESULT Search::Query(ykFlt2d& filter) noexcept {
  unsigned const before = ErrorCount();
  HRESULT const result = filter.QueryFileInfo(&stream, request.info, 0);
  if (Succeeded(result) || ErrorCount() != before) return result;
  return Fail(result, request.operation, result == E_NOTIMPL ? L"its filter describes no files" : nullptr);
}

HRESULT Search::Use(ykFlt2d& filter, ykFlt2dEx* extended) noexcept {
  if (request.info) return Query(filter);
  Ref<Map> options;
  HRESULT const checked = CheckOptions(extended, FILTER_READ, request.options, request.operation, options);
  isOver = Failed(checked);
  if (isOver) return checked;
  FilterRun run(stream, request.context, request.operation, stream.GetSize());
  return run.Read(request.image, [&](Stream* from, AbstractImage** made) {
    return extended ? extended->ReadEx(from, options.get(), request.context, made)
                    : filter.Read(from, made, 0);
  });
}

/// S_FALSE: the filter is not for this file.
HRESULT Search::TryFilter(Step step, Guid const& id) noexcept {
  Ref<ykFlt2d> filter;
  HRESULT const created = CreateFilter(id, request.operation, filter);
  if (Failed(created)) return created;
  Ref<ykFlt2dEx> const extended = ExtendedOf(*filter);
  HRESULT const asked = Ask(step, extended.get(), id);
  if (asked != S_OK) return asked;
  isAccepted = true;
  HRESULT const result = Use(*filter, extended.get());
  SeekTo(stream, position);
  isOver = isOver || Succeeded(result) || result == E_ABORT || result == E_OUTOFMEMORY ||
           Failed(stream.GetState());
  if (Succeeded(result) && request.type) *request.type = id;
  return Succeeded(result) ? S_OK : result;
}

void Search::Refused(HRESULT result, Guid const& id) noexcept {
  if (refusals++ == 0) firstRefusal = result;
  reasons.Add(L"%s%s: ", refusals > 1 ? L"; " : L"", LabelOf(id).c_str());
  AddMessage(reasons);  // without what led to it in the caller: "damaged: ..."
}

HRESULT Search::TryClass(Step step, Guid const& id) noexcept {
  HRESULT const result = TryFilter(step, id);
  if (Failed(result)) Refused(result, id);
  return result;
}

HRESULT Search::Try(Step step) noexcept {
  bool isKnown = false;  // to the filter list, unlike a class that is registered without an interface
  for (size_t i = 0; i < filters.Count() && !isOver; ++i) {
    ClassInfo const* const filter = FindFilter(filters[i]);
    if (!filter || !Wants(step, *filter)) continue;
    isKnown = true;
    if (TryClass(step, filters[i]) == S_OK) return S_OK;
  }
  bool const isLeft = step == BY_SIGNATURE && !isKnown && Succeeded(detected) && FindClass(type);
  return isLeft ? TryClass(step, type) : S_FALSE;
}

/// The failure of a file that nobody accepted.
HRESULT Search::Result() noexcept {
  if (refusals == 1) return firstRefusal;
  if (refusals > 1) return Fail(firstRefusal, request.operation, L"%s", reasons.c_str());
  HRESULT const state = stream.GetState();
  if (Failed(state)) return Fail(state, request.operation, UNREADABLE);
  if (Succeeded(detected)) {
    return Fail(YK_E_NOTFOUND, request.operation, L"there is no plug-in for %s files", LabelOf(type).c_str());
  }
  if (Failed(unreadable)) return Fail(unreadable, request.operation, L"%s", whyUnreadable.c_str());
  return Fail(detected, request.operation,
              detected == YK_E_TOOSHORT ? L"too short to be a picture" : L"not a picture of a known type");
}

HRESULT Search::Run() noexcept {
  BufferedFile const buffered(stream);
  HRESULT const listed = ListFilters(request.operation, filters);
  if (Failed(listed)) return listed;
  Detect();
  for (int step = 0; step < STEP_COUNT && !isAccepted && !isOver; ++step) {
    if (Try(static_cast<Step>(step)) == S_OK) return S_OK;
  }
  return Result();
}

HRESULT RunOnFile(wchar_t const* path, Request const& request) noexcept {
  Ref<Stream> stream;
  HRESULT const opened = FileStream::Create(path, FileStream::READ, stream.Receive());
  if (Failed(opened)) return opened;
  unsigned const before = ErrorCount();
  HRESULT const result = Search(*stream, request).Run();
  return Failed(result) ? FailWith(path, before, result, request.operation, L"cannot read") : result;
}

// ---- writing

/// What is to be written, and how.
struct Writing {
  AbstractImage& image;
  Map* options;
  ExecutionContext* context;
};

HRESULT WriteWith(Guid const& id, Stream& stream, Writing const& writing) noexcept {
  Ref<AbstractImage> const held = Ref<AbstractImage>::Share(&writing.image);  // the plug-in may release it
  Ref<ykFlt2d> filter;
  HRESULT const created = CreateFilter(id, WRITE, filter);
  if (Failed(created)) return created;
  Ref<ykFlt2dEx> const extended = ExtendedOf(*filter);
  Ref<Map> options;
  HRESULT const checked = CheckOptions(extended.get(), FILTER_WRITE, writing.options, WRITE, options);
  if (Failed(checked)) return checked;
  FilterRun run(stream, writing.context, WRITE, 0);
  Stream* const to = run.GetStream();
  if (!to) return Fail(E_OUTOFMEMORY, WRITE, nullptr);
  unsigned const before = ErrorCount();
  HRESULT const result = extended ? extended->WriteEx(to, &writing.image, options.get(), writing.context)
                                  : filter->Write(to, &writing.image, 0);
  if (result == E_NOTIMPL && ErrorCount() == before)
    Fail(result, WRITE, L"%s files can only be read", LabelOf(id).c_str());
  return run.Finish(result);
}

HRESULT WriteToFile(Guid const& id, wchar_t const* path, Writing const& writing) noexcept {
  SaveFile file;
  HRESULT const opened = file.Open(path);
  if (Failed(opened)) return opened;
  unsigned const before = ErrorCount();
  HRESULT const result = WriteWith(id, *file.GetStream(), writing);
  if (Failed(result)) return FailWith(path, before, result, WRITE, L"cannot write");
  HRESULT const committed = file.Commit();
  return Failed(committed) ? committed : S_OK;
}

HRESULT FailExtension(wchar_t const* path, Buffer<Guid> const& all) noexcept {
  FailureText known;
  for (Guid const& id : all) {
    ClassInfo const* const filter = FindFilter(id);
    FailureText const patterns = filter ? PatternsOf(*filter) : FailureText();
    if (!patterns.IsEmpty()) known.Add(L"%s%s", known.IsEmpty() ? L"" : L", ", patterns.c_str());
  }
  return Fail(YK_E_NOTFOUND, WRITE, L"cannot write %s: no plug-in writes files of that name%s%s", path,
              known.IsEmpty() ? L"" : L", but ", known.c_str());
}

/// Writes through the first filter for the path that writes at all.
HRESULT WriteByName(wchar_t const* path, Writing const& writing) noexcept {
  Buffer<Guid> filters;
  HRESULT const listed = ListFilters(WRITE, filters);
  if (Failed(listed)) return listed;
  HRESULT result = S_FALSE;
  for (size_t i = 0; i < filters.Count() && (result == S_FALSE || result == E_NOTIMPL); ++i) {
    ClassInfo const* const filter = FindFilter(filters[i]);
    if (!filter || !HasPatternFor(*filter, path)) continue;
    result = WriteToFile(filters[i], path, writing);
    if (Succeeded(result)) return S_OK;
  }
  return result == S_FALSE ? FailExtension(path, filters) : result;
}

}  // namespace

HRESULT img::Read(Stream* stream, Map* options, ExecutionContext* context, AbstractImage** image,
                  Guid* type) noexcept {
  if (image) *image = nullptr;
  if (!stream || !image) return Fail(E_INVALIDARG, READ, L"stream or image is null");
  Ref<Stream> const held = Ref<Stream>::Share(stream);
  return Search(*stream, {READ, options, context, image, nullptr, type}).Run();
}

HRESULT img::Read(wchar_t const* path, Map* options, ExecutionContext* context, AbstractImage** image,
                  Guid* type) noexcept {
  if (image) *image = nullptr;
  if (!path || !image) return Fail(E_INVALIDARG, READ, L"path or image is null");
  return RunOnFile(path, {READ, options, context, image, nullptr, type});
}

HRESULT img::QueryInfo(Stream* stream, Map* info, Guid* type) noexcept {
  if (!stream || !info) return Fail(E_INVALIDARG, QUERY, L"stream or info is null");
  Ref<Stream> const held = Ref<Stream>::Share(stream);
  return Search(*stream, {QUERY, nullptr, nullptr, nullptr, info, type}).Run();
}

HRESULT img::QueryInfo(wchar_t const* path, Map* info, Guid* type) noexcept {
  if (!path || !info) return Fail(E_INVALIDARG, QUERY, L"path or info is null");
  return RunOnFile(path, {QUERY, nullptr, nullptr, nullptr, info, type});
}

HRESULT img::Write(AbstractImage& image, wchar_t const* path, Guid const* type, Map* options,
                   ExecutionContext* context) noexcept {
  if (!path) return FailNull(WRITE, L"path");
  Writing const writing = {image, options, context};
  return type ? WriteToFile(*type, path, writing) : WriteByName(path, writing);
}

HRESULT img::Write(AbstractImage& image, Stream* stream, Guid const& type, Map* options,
                   ExecutionContext* context) noexcept {
  if (!stream) return FailNull(WRITE, L"stream");
  Ref<Stream> const held = Ref<Stream>::Share(stream);
  return WriteWith(type, *stream, {image, options, context});
}

}  // namespace yk
