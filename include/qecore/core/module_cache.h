// The module cache: what System::ScanModules stores about the plug-ins that it has found, as chunks of an
// object file (see io/chunk.h).
//
//   MODULE_LIST ── MODULE            one for each plug-in
//                  ├─ FILE_NAME      UTF-16, without the folder
//                  ├─ FILE_TIME      8 bytes; 0 when the library did not load, or not with all its classes
//                  ├─ FILE_SIZE      4 bytes
//                  └─ CLASS          one for each class, the last registered first
//                     ├─ flags, 4 bytes without a header
//                     ├─ CLASS_ID       16 bytes
//                     ├─ INTERFACE_ID   16 bytes
//                     ├─ CLASS_NAME     narrow, without terminator; may be absent
//                     └─ FILTER_INFO    a filter's description, a Map; may be absent
//
// Public, since programs that show what a cache contains (qetool dump) need the names. Everything here is
// constant.
#pragma once

namespace yk::cache {

/// The tag of a chunk; see the drawing.
inline constexpr unsigned short MODULE_LIST = 0x1000;
inline constexpr unsigned short MODULE = 0x1001;
inline constexpr unsigned short FILE_NAME = 274;
inline constexpr unsigned short CLASS = 0x1002;
inline constexpr unsigned short FILE_TIME = 0x1003;
inline constexpr unsigned short FILE_SIZE = 0x1004;
inline constexpr unsigned short FILTER_INFO = 0x1005;
inline constexpr unsigned short INTERFACE_ID = 0x1006;
inline constexpr unsigned short CLASS_ID = 0x1007;
inline constexpr unsigned short CLASS_NAME = 11;

/// The readable name of a chunk.
struct TagName {
  unsigned short tag;  ///< one of those above
  char const* name;    ///< lower case, for display
};

/// The tags that mean the same in every file. CLASS_NAME is absent: a banner has the same tag.
inline constexpr TagName TAG_NAMES[] = {
    {MODULE_LIST, "plug-ins"},
    {MODULE, "plug-in"},
    {FILE_NAME, "file name"},
    {FILE_TIME, "file time"},
    {FILE_SIZE, "file size"},
    {CLASS, "class"},
    {CLASS_ID, "class identifier"},
    {INTERFACE_ID, "interface identifier"},
    {FILTER_INFO, "filter information"},
};

}  // namespace yk::cache
