# QECORE_DATE: the date that the library writes into object files. It is that of the commit, or of SOURCE_DATE_EPOCH, so that two
# builds of one commit are equal; without either it is the compiler's.
find_package(Git QUIET)
set(epoch "$ENV{SOURCE_DATE_EPOCH}")
if(Git_FOUND AND NOT epoch)
  set(git "${GIT_EXECUTABLE}" -C "${PROJECT_SOURCE_DIR}")
  execute_process(COMMAND ${git} log -1 --format=%ct OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  # Each commit, checkout, ... appends a line here.
  execute_process(COMMAND ${git} rev-parse --git-path logs/HEAD OUTPUT_VARIABLE log OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  cmake_path(ABSOLUTE_PATH log BASE_DIRECTORY "${PROJECT_SOURCE_DIR}")
  if(EXISTS "${log}" AND NOT IS_DIRECTORY "${log}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${log}")
  endif()
endif()
if(epoch)
  set(ENV{SOURCE_DATE_EPOCH} "${epoch}")
  string(TIMESTAMP QECORE_DATE "%b %d %Y" UTC)
  string(REPLACE " 0" "  " QECORE_DATE "${QECORE_DATE}") # as compilers write it
  set_property(SOURCE src/io/serializer.cpp APPEND PROPERTY COMPILE_DEFINITIONS "QECORE_DATE=\"${QECORE_DATE}\"")
endif()
