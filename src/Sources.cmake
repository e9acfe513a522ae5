# Sources of the portable core, by subsystem. The platform layer picks its
# Win32 or POSIX half.
set(_src ${CMAKE_CURRENT_LIST_DIR})

set(FENNORIA_PLATFORM_SOURCES
  ${_src}/platform/message_box.cpp)
if(WIN32)
  list(APPEND FENNORIA_PLATFORM_SOURCES
    ${_src}/platform/file_win32.cpp
    ${_src}/platform/message_box_win32.cpp)
else()
  list(APPEND FENNORIA_PLATFORM_SOURCES
    ${_src}/platform/file_posix.cpp
    ${_src}/platform/message_box_posix.cpp)
endif()

set(FENNORIA_INPUT_SOURCES
  ${_src}/input/file_list.cpp
  ${_src}/input/joined_file_inputer.cpp
  ${_src}/input/multiple_file_inputer.cpp
  ${_src}/input/dvd_inputer.cpp)

set(FENNORIA_CORE_SOURCES
  ${FENNORIA_PLATFORM_SOURCES}
  ${FENNORIA_INPUT_SOURCES})

set(FENNORIA_CORE_WIN32_LIBS user32 kernel32)
