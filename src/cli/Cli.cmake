# The command-line tool `fennoria` (fennoria.exe in the Windows build), one
# source file per subcommand over the portable core.
set(FENNORIA_CLI_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/main.cpp
  ${CMAKE_CURRENT_LIST_DIR}/args.cpp
  ${CMAKE_CURRENT_LIST_DIR}/output.cpp
  ${CMAKE_CURRENT_LIST_DIR}/inputs.cpp
  ${CMAKE_CURRENT_LIST_DIR}/partial_files.cpp
  ${CMAKE_CURRENT_LIST_DIR}/progress_text.cpp
  ${CMAKE_CURRENT_LIST_DIR}/disc.cpp
  ${CMAKE_CURRENT_LIST_DIR}/selection.cpp
  ${CMAKE_CURRENT_LIST_DIR}/json_writer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/disc_report.cpp
  ${CMAKE_CURRENT_LIST_DIR}/cat.cpp
  ${CMAKE_CURRENT_LIST_DIR}/dvd.cpp
  ${CMAKE_CURRENT_LIST_DIR}/demux.cpp
  ${CMAKE_CURRENT_LIST_DIR}/read_ahead.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ifo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/info.cpp
  ${CMAKE_CURRENT_LIST_DIR}/chapters.cpp
  ${CMAKE_CURRENT_LIST_DIR}/config.cpp)

add_executable(fennoria ${FENNORIA_CLI_SOURCES})
find_package(Threads REQUIRED)
target_link_libraries(fennoria PRIVATE fennoria_core Threads::Threads)
target_compile_options(fennoria PRIVATE ${FENNORIA_WARNINGS})
# The version it prints comes from project(VERSION ...).
target_include_directories(fennoria PRIVATE ${FENNORIA_GENERATED_DIR})
if(WIN32)
  target_link_libraries(fennoria PRIVATE advapi32)
  fennoria_version_resource(fennoria fennoria.exe
    "Ormelund Fennoria command-line tool" VFT_APP)
endif()
