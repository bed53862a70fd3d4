# qecore_symbols(<target>): debug information for a library or plug-in that is installed, beside it and not in it. Release builds
# only: the others keep theirs inside.
#   GCC     <file>.debug, which GDB finds by the name and checksum that stay in the file (.gnu_debuglink)
#   Clang   <name>.pdb for Visual Studio and WinDbg, with the views of qeCore.natvis
function(qecore_symbols target)
  if(NOT MINGW OR NOT CMAKE_BUILD_TYPE STREQUAL "Release")
    return()
  endif()
  # The same names of files wherever it is built, and whether ccache makes them relative or not.
  file(RELATIVE_PATH up "${PROJECT_BINARY_DIR}" "${PROJECT_SOURCE_DIR}")
  string(REGEX REPLACE "/$" "" up "${up}")
  target_compile_options(${target} PRIVATE -g "-ffile-prefix-map=${up}=." "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=."
                                           "-ffile-prefix-map=${PROJECT_BINARY_DIR}=.")
  set(file "$<TARGET_FILE:${target}>")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    set(natvis "${PROJECT_SOURCE_DIR}/packaging/debuggers/qeCore.natvis")
    set(symbols "$<TARGET_FILE_DIR:${target}>/${target}.pdb")
    target_compile_options(${target} PRIVATE -gcodeview)
    # pdbaltpath: the file names its PDB without the folder.
    target_link_options(${target} PRIVATE "-Wl,--pdb=${symbols}" "-Wl,-Xlink=-pdbaltpath:%_PDB%" "-Wl,-Xlink=-natvis:${natvis}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${natvis}")
  else()
    set(symbols "${file}.debug")
    # --preserve-dates: otherwise the time goes into the header.
    add_custom_command(
      TARGET ${target} POST_BUILD
      COMMAND "${CMAKE_OBJCOPY}" --preserve-dates --only-keep-debug "${file}" "${symbols}"
      COMMAND "${CMAKE_OBJCOPY}" --preserve-dates --strip-debug "--add-gnu-debuglink=${symbols}" "${file}"
      VERBATIM)
  endif()
  set_target_properties(${target} PROPERTIES QECORE_SYMBOLS "${symbols}")
endfunction()
