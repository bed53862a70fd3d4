# cmake --install: bin/ (library, plug-ins, tools), lib/ (import libraries, CMake package), include/qecore/, share/doc/qeCore/.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS qeCore EXPORT qeCoreTargets RUNTIME DESTINATION bin ARCHIVE DESTINATION lib LIBRARY DESTINATION bin)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/qecore" DESTINATION include FILES_MATCHING PATTERN "*.h")
foreach(target qewic qezip qetool)
  if(TARGET ${target})
    install(TARGETS ${target} RUNTIME DESTINATION bin LIBRARY DESTINATION bin)
  endif()
endforeach()

# Debug information lies beside the files that it describes, and what GDB shows beside the library.
install(FILES packaging/debuggers/qeCore.dll-gdb.py DESTINATION bin)
install(FILES packaging/debuggers/qeCore.natvis DESTINATION share/qecore)
foreach(target qeCore qewic qezip)
  if(TARGET ${target})
    install(FILES $<TARGET_GENEX_EVAL:${target},$<TARGET_PROPERTY:${target},QECORE_SYMBOLS>> DESTINATION bin)
  endif()
endforeach()

# With -static, GNU's linker overlooks libqeCore.dll.a and would take qeCore.lib, whose names are not its own.
if(MINGW)
  install(FILES $<TARGET_LINKER_FILE:qeCore> DESTINATION lib RENAME libqeCore.a)
endif()
if(TARGET import_library)
  install(FILES "${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/qeCore.lib" DESTINATION lib)
endif()

install(EXPORT qeCoreTargets NAMESPACE qeCore:: DESTINATION lib/cmake/qeCore)
install(FILES cmake/qeCoreConfig.cmake DESTINATION lib/cmake/qeCore)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/qeCoreConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/qeCoreConfigVersion.cmake" DESTINATION lib/cmake/qeCore)

install(FILES LICENSE SECURITY.md packaging/THIRD-PARTY.md DESTINATION share/doc/qeCore)
install(FILES docs/guides/package.md DESTINATION share/doc/qeCore RENAME README.md)

configure_file(cmake/qeCore.pc.in "${PROJECT_BINARY_DIR}/qeCore.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/qeCore.pc" DESTINATION lib/pkgconfig)

# For projects that use the library: templates, sources for plug-ins, and how to build on Linux and run under Wine.
install(DIRECTORY templates DESTINATION share/qecore)
install(FILES cmake/operator_new.cpp cmake/free_exception_pool.cpp DESTINATION share/qecore/gcc)
install(FILES cmake/mingw-w64.cmake DESTINATION share/qecore)
install(PROGRAMS cmake/wine-run DESTINATION share/qecore)
