# Compiler flags as interface targets.
#   qecore_flags   every file of the repository: warnings are errors, rounding is exact
#   qecore_lean    the library itself: neither exceptions nor run-time type information

add_library(qecore_flags INTERFACE)
add_library(qecore_lean INTERFACE)

target_compile_features(qecore_flags INTERFACE cxx_std_20)
target_compile_definitions(qecore_flags INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)

if(MSVC)
  target_compile_options(qecore_flags INTERFACE /W4 /WX /permissive- /utf-8 /Zc:__cplusplus /Zc:preprocessor /fp:precise
                         /wd4458 /wd4459 # a parameter may have the name of a field or of something outside
                         /wd4068) # pragmas of other compilers
  target_compile_definitions(qecore_flags INTERFACE _CRT_SECURE_NO_WARNINGS)
  target_compile_options(qecore_flags INTERFACE /Brepro)
  target_link_options(qecore_flags INTERFACE /Brepro)
  target_compile_options(qecore_lean INTERFACE /GR- /EHs-c-)
  target_compile_definitions(qecore_lean INTERFACE _HAS_EXCEPTIONS=0)
else()
  target_compile_options(
    qecore_flags
    INTERFACE -Wall
              -Wextra
              -Werror
              -Wundef
              -Wvla
              -Wcast-qual
              -Wno-delete-non-virtual-dtor # contract: no virtual destructors
              -Wno-overloaded-virtual # a class may override one of a pair of overloads
              -ffp-contract=off # a fused multiply-add rounds once instead of twice: results are part of the contract
              -fstack-protector-strong
              $<$<CONFIG:Release>:-O2>
              $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>
              $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond>
              $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op>)
  target_compile_definitions(qecore_flags INTERFACE $<IF:$<CONFIG:Debug>,_GLIBCXX_ASSERTIONS,_FORTIFY_SOURCE=2>)
  # No times: two builds of one commit are equal to the byte.
  target_link_options(qecore_flags INTERFACE -Wl,--no-insert-timestamp)
  # Fully static: otherwise stack protection imports a DLL.
  target_link_options(qecore_flags INTERFACE -static -fstack-protector-strong)
  target_compile_options(qecore_lean INTERFACE -fno-exceptions -fno-rtti $<$<CXX_COMPILER_ID:GNU>:-Wdouble-promotion>)
endif()

# Fault finding (presets ubsan and guard): the run-time support is linked into every program and library.
option(QECORE_UBSAN "Report undefined behaviour by file and line, and stop" OFF)
if(QECORE_UBSAN)
  add_library(qecore_ubsan OBJECT cmake/ubsan_handlers.cpp)
  target_compile_features(qecore_ubsan PRIVATE cxx_std_20)
  target_compile_options(qecore_flags INTERFACE -fsanitize=undefined -fno-sanitize=vptr -fno-sanitize-recover=undefined -g)
  target_link_libraries(qecore_flags INTERFACE qecore_ubsan $<TARGET_OBJECTS:qecore_ubsan>)
endif()
option(QECORE_GUARD_HEAP "End each heap block at an inaccessible page" OFF)
if(QECORE_GUARD_HEAP)
  add_library(qecore_guard_heap OBJECT cmake/guard_heap.cpp)
  target_compile_features(qecore_guard_heap PRIVATE cxx_std_20)
  # --wrap applies to calls, not imports: no function of the C runtime may be declared as imported.
  target_compile_definitions(qecore_flags INTERFACE _CRTIMP=)
  target_link_options(
    qecore_flags INTERFACE -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc,--wrap=free,--wrap=_msize)
  target_link_libraries(qecore_flags INTERFACE qecore_guard_heap $<TARGET_OBJECTS:qecore_guard_heap>)
endif()

option(QECORE_COVERAGE "Count which lines and branches of the library run" OFF)
if(QECORE_COVERAGE)
  target_compile_options(qecore_lean INTERFACE --coverage)
  target_link_options(qecore_lean INTERFACE --coverage)
endif()

# File names select additional flags, so that no list has to be maintained:
#   *_kernels*.cpp   pixel loops: all optimisation
#   *_avx2.cpp       may use AVX2 and fused multiply-add, called only after a check of the processor
#   *_ssse3.cpp      likewise SSSE3
include(CheckCXXCompilerFlag)
# GCC cannot align the stack of Win64 for 256-bit vectors; the assembler turns aligned moves into unaligned ones.
check_cxx_compiler_flag(-Wa,-muse-unaligned-vector-move QECORE_HAS_UNALIGNED_VECTOR_MOVE)

function(qecore_flags_by_name)
  foreach(source IN LISTS ARGN)
    set(flags "")
    if(source MATCHES "(_kernels[^/]*|_avx2|_ssse3)\\.cpp$" AND NOT MSVC)
      list(APPEND flags $<$<CONFIG:Release>:-O3>)
    endif()
    if(source MATCHES "_avx2\\.cpp$")
      if(MSVC)
        list(APPEND flags /arch:AVX2)
      else()
        list(APPEND flags -mavx2 -mfma)
        if(QECORE_HAS_UNALIGNED_VECTOR_MOVE)
          list(APPEND flags -Wa,-muse-unaligned-vector-move)
        endif()
      endif()
    elseif(source MATCHES "_ssse3\\.cpp$" AND NOT MSVC)
      list(APPEND flags -mssse3)
    endif()
    if(flags)
      set_property(SOURCE "${source}" APPEND PROPERTY COMPILE_OPTIONS ${flags})
    endif()
  endforeach()
endfunction()
