# The same target with Clang, against the headers and the standard library of MinGW-w64 GCC.
include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")

set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -pthread")
endforeach()
