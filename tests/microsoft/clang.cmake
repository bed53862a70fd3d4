# Clang for the Microsoft C++ ABI without Microsoft's headers and libraries: no C runtime, and the platform's headers from MinGW.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_CXX_COMPILER_TARGET x86_64-pc-windows-msvc)
set(CMAKE_RC_COMPILER llvm-rc-19)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY) # a program would need a runtime
set(CMAKE_MSVC_RUNTIME_LIBRARY "")
set(CMAKE_CXX_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_CXX_FLAGS_INIT "-fno-exceptions -fno-rtti -fno-threadsafe-statics -mno-stack-arg-probe")
string(APPEND CMAKE_CXX_FLAGS_INIT " -idirafter /usr/share/mingw-w64/include")
foreach(kind EXE MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld-link-19 -Wl,/nodefaultlib")
endforeach()
