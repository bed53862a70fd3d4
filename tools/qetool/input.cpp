#include "input.h"

#include <fcntl.h>
#include <io.h>
#include <qecore/io/file.h>
#include <qecore/io/file_find.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/mem_stream.h>
#include <stdio.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <set>
#include <sstream>

#include "text.h"

namespace qetool {

using namespace yk;

namespace {

constexpr int DEEPEST_FOLDER = 100;  // each level takes some of the stack

Ref<Stream> ReadStandardInput() {
  Ref<Stream> stream;
  HRESULT result = MemStream::Create(stream.Receive());
  _setmode(_fileno(stdin), _O_BINARY);
  std::array<char, 65536> piece;
  for (size_t size; Succeeded(result) && (size = fread(piece.data(), 1, piece.size(), stdin)) > 0;) {
    result = stream->Write(piece.data(), static_cast<unsigned>(size));
  }
  if (Succeeded(result)) result = stream->Seek(0, Stream::FROM_START);
  if (Failed(result)) throw Failure{"cannot read standard input: " + Reason(result)};
  return stream;
}

// One path in each line, in UTF-8, perhaps with a byte-order mark.
std::vector<std::string> ReadList(std::string const& path) {
  std::vector<unsigned char> const bytes = ReadAll(*OpenInput(path), path);
  std::string text(bytes.begin(), bytes.end());
  if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
  std::vector<std::string> paths;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) paths.push_back(line);
  }
  return paths;
}

/// What is the same for all paths of a folder. All zero: unknown, which some network drives leave it.
struct FolderId {
  DWORD volume, high, low;
  auto operator<=>(FolderId const&) const = default;
};

FolderId IdOf(std::string const& folder) {
  HANDLE const handle =
      CreateFileW(ToWide(folder).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return {};
  BY_HANDLE_FILE_INFORMATION facts = {};
  bool const isKnown =
      GetFileInformationByHandle(handle, &facts) && (facts.nFileIndexHigh || facts.nFileIndexLow);
  CloseHandle(handle);
  return isKnown ? FolderId{facts.dwVolumeSerialNumber, facts.nFileIndexHigh, facts.nFileIndexLow}
                 : FolderId{};
}

String FullPath(std::string const& path) {
  wchar_t full[4096];
  DWORD const length = GetFullPathNameW(ToWide(path).c_str(), std::size(full), full, nullptr);
  return length && length < std::size(full) ? String(full) : ToWide(path);
}

bool IsLink(std::string const& path) {
  DWORD const attributes = GetFileAttributesW(ToWide(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

/// Finds the pictures below a folder, which may itself be a link.
class Walk {
 public:
  Walk(Host const& host, std::string const& except) : except(except.empty() ? "" : PlaceOf(except)) {
    for (FilterInfo const& filter : host.Filters()) {
      extensions.insert(extensions.end(), filter.extensions.begin(), filter.extensions.end());
    }
  }

  void Start(std::string const& folder) {
    entered.clear();
    Enter(folder, {}, 0);
  }

  std::vector<Input> found;

 private:
  // `name` is what the folder is called below the one that the command was given.
  void Enter(std::string const& folder, std::string const& name, int depth) {
    if (!IsNew(folder)) return;
    std::vector<std::string> files, folders;
    FileFind find(ToWide(folder), L"*", FileFind::FILES | FileFind::FOLDERS);
    while (find.GetNext()) (find.IsFolder() ? folders : files).push_back(ToUtf8(find.name));
    std::sort(files.begin(), files.end());
    std::sort(folders.begin(), folders.end());
    std::string const base = folder.find_last_of("/\\") + 1 == folder.size() ? folder : folder + "/";
    for (std::string const& file : files) {
      if (IsPicture(file) && !IsLeftOut(base + file)) found.push_back({base + file, name + file});
    }
    for (std::string const& below : folders) {
      bool const isEntered = depth < DEEPEST_FOLDER && !IsLeftOut(base + below) && !IsLink(base + below);
      if (isEntered) Enter(base + below, name + below + "/", depth + 1);
    }
  }

  // Some systems do not say that a folder is a link, which may lead to one above it.
  bool IsNew(std::string const& folder) {
    FolderId const id = IdOf(folder);
    return id == FolderId{} || entered.insert(id).second;
  }

  bool IsPicture(std::string const& name) const {
    return std::any_of(
        extensions.begin(), extensions.end(),
        [extension = ExtensionOf(name)](auto const& known) { return EqualNoCase(extension, known); });
  }

  bool IsLeftOut(std::string const& path) const { return !except.empty() && PlaceOf(path) == except; }

  std::string except;
  std::vector<std::string> extensions;
  std::set<FolderId> entered;
};

}  // namespace

std::string ShownName(std::string const& path) { return path == STANDARD_STREAM ? "standard input" : path; }

bool IsFolder(std::string const& path) { return file::IsFolder(ToWide(path).c_str()); }

std::string FolderOf(std::string const& path) {
  size_t const slash = path.find_last_of("/\\");
  return slash == std::string::npos ? std::string() : path.substr(0, std::max<size_t>(slash, 1));
}

void CheckNoDevice(char const* what, std::string const& path) {
  constexpr char DEVICES[] = "\\\\.\\";
  std::string const full = ToUtf8(FullPath(path));
  if (full.starts_with(DEVICES))
    throw Failure{what + path + ": " + full.substr(sizeof DEVICES - 1) + " is the name of a device"};
}

void CheckOutput(std::string const& path) {
  CheckNoDevice("cannot write ", path);
  CheckPlace(path);
}

void CheckPlace(std::string const& path) {
  if (IsFolder(path)) throw Failure{"cannot write " + path + ": it is a folder"};
  std::string const folder = FolderOf(path);
  if (folder.empty() || IsFolder(folder)) return;
  throw Failure{"cannot write " + path + ": the folder " + folder + " does not exist"};
}

std::string NameOf(std::string const& path) { return path.substr(path.find_last_of("/\\:") + 1); }

std::string ExtensionOf(std::string const& path) {
  std::string const name = NameOf(path);
  size_t const dot = name.rfind('.');
  return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

std::string PlaceOf(std::string const& path) {
  String place = FullPath(path);
  place.MakeLower();
  std::string text = ToUtf8(place);
  text.erase(text.find_last_not_of("/\\") + 1);
  return text;
}

Ref<Stream> OpenInput(std::string const& path) {
  if (path == STANDARD_STREAM) return ReadStandardInput();
  CheckNoDevice("cannot read ", path);
  Ref<Stream> stream;
  HRESULT const result = FileStream::Create(ToWide(path), FileStream::READ, stream.Receive());
  if (Succeeded(result)) return stream;
  std::string const reason = Reason(result);
  throw Failure{IsFolder(path) ? "cannot read " + path + ": it is a folder" : "cannot open " + reason};
}

std::vector<unsigned char> ReadAll(Stream& stream, std::string const& path) {
  std::vector<unsigned char> bytes(stream.GetSize() - stream.GetPosition());
  unsigned done = 0;
  HRESULT const result =
      bytes.empty() ? S_OK : stream.Read(bytes.data(), static_cast<unsigned>(bytes.size()), &done);
  if (Failed(result) || done != bytes.size()) {
    throw Failure{"cannot read " + ShownName(path) + ": " + Reason(Failed(result) ? result : E_FAIL)};
  }
  return bytes;
}

void AddInputOptions(CLI::App& command, InputOptions& options) {
  options.command = command.get_name();
  command.add_flag("-r,--recursive", options.isRecursive,
                   "Of a folder, take all pictures in it and in its subfolders");
  command
      .add_option("--list", options.list,
                  "File with the paths of more pictures, one in each line, in UTF-8; - is standard input")
      ->type_name("FILE");
}

std::vector<Input> CollectInputs(InputOptions const& options, Host const& host, std::string const& except) {
  std::vector<std::string> paths = ExpandWildcards(options.paths);
  if (!options.list.empty()) {
    std::vector<std::string> const listed = ReadList(options.list);
    paths.insert(paths.end(), listed.begin(), listed.end());
  }
  Walk walk(host, except);
  for (std::string const& path : paths) {
    if (options.isRecursive && IsFolder(path)) {
      walk.Start(path);
    } else {
      walk.found.push_back({path, NameOf(path)});
    }
  }
  if (!walk.found.empty()) return walk.found;
  if (!paths.empty()) throw Failure{"there is no picture in " + paths[0]};
  throw Failure{options.list.empty() ? "no files are given (see qetool " + options.command + " --help)"
                                     : "the list " + options.list + " is empty"};
}

}  // namespace qetool
