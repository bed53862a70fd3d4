# lib/qeCore.lib: the import library for programs of the Microsoft C++ ABI, beside the compiler's own for the GNU one.
#
# microsoft_names.txt maps the decorated name of each function to the library's export; `./run check names` compares it with the
# headers. A linker needs to know entries whose import has another name than the symbol ("export as").
find_program(QECORE_LLVM_DLLTOOL NAMES llvm-dlltool-19 llvm-dlltool DOC "Makes the import library for the Microsoft C++ ABI")

set(names "${PROJECT_SOURCE_DIR}/cmake/microsoft_names.txt")
if(QECORE_LLVM_DLLTOOL)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${names}")
  file(STRINGS "${names}" lines REGEX "^[^#]")
  list(TRANSFORM lines REPLACE "^([^ ]+) ([^ ]+)(.*)$" "\"\\1\" == \\2\\3")
  list(JOIN lines "\n" lines)
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/qeCore.def" CONTENT "LIBRARY qeCore.dll\nEXPORTS\n@lines@\n" @ONLY)
  add_custom_command(
    OUTPUT "${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/qeCore.lib"
    COMMAND "${QECORE_LLVM_DLLTOOL}" -m i386:x86-64 -d "${PROJECT_BINARY_DIR}/qeCore.def" -l qeCore.lib
    WORKING_DIRECTORY "${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}"
    DEPENDS "${PROJECT_BINARY_DIR}/qeCore.def"
    VERBATIM)
  add_custom_target(import_library ALL DEPENDS "${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/qeCore.lib")
  add_dependencies(programs import_library)
else()
  message(STATUS "llvm-dlltool was not found: qeCore.lib, for programs of the Microsoft C++ ABI, will not be built.")
endif()
