# Sources of the portable core, by subsystem. The platform layer picks its
# Win32 or POSIX half.
set(_src ${CMAKE_CURRENT_LIST_DIR})

set(FENNORIA_PLATFORM_SOURCES
  ${_src}/platform/io_buffer.cpp
  ${_src}/platform/read_staging.cpp
  ${_src}/platform/message_box.cpp)
if(WIN32)
  list(APPEND FENNORIA_PLATFORM_SOURCES
    ${_src}/platform/file_win32.cpp
    ${_src}/platform/mapped_file_win32.cpp
    ${_src}/platform/message_box_win32.cpp)
else()
  list(APPEND FENNORIA_PLATFORM_SOURCES
    ${_src}/platform/file_posix.cpp
    ${_src}/platform/mapped_file_posix.cpp
    ${_src}/platform/message_box_posix.cpp)
endif()

set(FENNORIA_INPUT_SOURCES
  ${_src}/input/file_list.cpp
  ${_src}/input/joined_file_inputer.cpp
  ${_src}/input/multiple_file_inputer.cpp
  ${_src}/input/dvd_inputer.cpp
  ${_src}/input/concatenated_stream.cpp
  ${_src}/input/output_file_stream.cpp
  ${_src}/input/dvd_title_range.cpp
  ${_src}/input/cell_sequence.cpp
  ${_src}/input/random_access_reader.cpp
  ${_src}/input/list_source.cpp
  ${_src}/input/title_source.cpp)

# Disc images and drives: the VIDEO_TS folder inside a UDF or ISO 9660
# volume, and the one interface through which the DVD reader opens its files.
set(FENNORIA_DISC_SOURCES
  ${_src}/disc/image_bytes.cpp
  ${_src}/disc/disc_image.cpp
  ${_src}/disc/udf_volume.cpp
  ${_src}/disc/iso9660_volume.cpp
  ${_src}/disc/disc_files.cpp
  ${_src}/disc/scrambled_packs.cpp
  ${_src}/disc/open_disc_image.cpp)

set(FENNORIA_DEMUX_SOURCES
  ${_src}/demux/stream.cpp
  ${_src}/demux/vob_demuxer.cpp
  ${_src}/demux/timing_file.cpp)

# The tool's extraction: the engine that feeds one input's packs to every
# chosen output, the tool's own outputs (DTS, LPCM as WAV, VobSub) and the
# first time stamps the audio delays come from.
set(FENNORIA_EXTRACT_SOURCES
  ${_src}/extract/extraction.cpp
  ${_src}/extract/demuxer_sink.cpp
  ${_src}/extract/first_timestamps.cpp
  ${_src}/extract/private_packets.cpp
  ${_src}/extract/dts_output.cpp
  ${_src}/extract/lpcm_format.cpp
  ${_src}/extract/wav_header.cpp
  ${_src}/extract/lpcm_wav_output.cpp
  ${_src}/extract/vobsub_index.cpp
  ${_src}/extract/vobsub_output.cpp
  ${_src}/extract/audio_frames.cpp)

set(FENNORIA_DVDNAV_SOURCES
  ${_src}/dvdnav/ifo_parser.cpp
  ${_src}/dvdnav/ifo_dump.cpp
  ${_src}/dvdnav/chapter_list.cpp
  ${_src}/dvdnav/cell_layout.cpp
  ${_src}/dvdnav/disc_title.cpp
  ${_src}/dvdnav/stream_tracks.cpp
  ${_src}/dvdnav/title_selection.cpp
  ${_src}/dvdnav/dvd_title_reader.cpp
  ${_src}/dvdnav/open_navigation.cpp)

set(FENNORIA_CORE_SOURCES
  ${FENNORIA_PLATFORM_SOURCES}
  ${FENNORIA_INPUT_SOURCES}
  ${FENNORIA_DISC_SOURCES}
  ${FENNORIA_DEMUX_SOURCES}
  ${FENNORIA_EXTRACT_SOURCES}
  ${FENNORIA_DVDNAV_SOURCES})

set(FENNORIA_CORE_WIN32_LIBS user32 kernel32)

# Registry, profile files and debugger services for the diagnostics and the
# settings; on Linux the registry and the INI files are files of our own.
set(FENNORIA_CONFIG_PLATFORM_SOURCES
  ${_src}/platform/debugger.cpp
  ${_src}/platform/hive_file.cpp
  ${_src}/platform/ini_text.cpp
  ${_src}/platform/process_common.cpp)
if(WIN32)
  list(APPEND FENNORIA_CONFIG_PLATFORM_SOURCES
    ${_src}/platform/debugger_win32.cpp
    ${_src}/platform/process_win32.cpp
    ${_src}/platform/profile_win32.cpp
    ${_src}/platform/registry_win32.cpp)
else()
  list(APPEND FENNORIA_CONFIG_PLATFORM_SOURCES
    ${_src}/platform/config_files_posix.cpp
    ${_src}/platform/debugger_posix.cpp
    ${_src}/platform/process_posix.cpp
    ${_src}/platform/profile_posix.cpp
    ${_src}/platform/registry_posix.cpp)
endif()

set(FENNORIA_DIAG_SOURCES
  ${_src}/diag/debug_log.cpp)

set(FENNORIA_FILTER_SOURCES
  ${_src}/filter/settings_store.cpp
  ${_src}/filter/disc_title_settings.cpp)

list(APPEND FENNORIA_CORE_SOURCES
  ${FENNORIA_CONFIG_PLATFORM_SOURCES}
  ${FENNORIA_DIAG_SOURCES}
  ${FENNORIA_FILTER_SOURCES})
list(APPEND FENNORIA_CORE_WIN32_LIBS advapi32)

# The progress window, the About page and the Settings page: portable
# models everywhere (the progress, the disc a page shows, its choices), the
# dialogs on Windows. The dialog resources go into each program or DLL that
# shows them, as a source of its own: a resource object inside a static
# library would never be linked, since no symbol refers to it.
set(FENNORIA_UI_SOURCES
  ${_src}/ui/progress_model.cpp
  ${_src}/ui/progress_display.cpp
  ${_src}/ui/disc_summary.cpp
  ${_src}/ui/settings_choice.cpp)
if(WIN32)
  enable_language(RC)
  list(APPEND FENNORIA_UI_SOURCES
    ${_src}/ui/progress_window.cpp
    ${_src}/ui/window_thread.cpp
    ${_src}/ui/about_page.cpp
    ${_src}/ui/settings_page.cpp)
  set(FENNORIA_UI_RESOURCES ${_src}/ui/dialogs.rc)
  list(APPEND FENNORIA_CORE_WIN32_LIBS comctl32 shell32 gdi32)
endif()
list(APPEND FENNORIA_CORE_SOURCES ${FENNORIA_UI_SOURCES})

# The COM server (Windows): our DirectShow framework and the filter object,
# its pin and its About page. The DLL adds the entry points, the export
# list and the dialog resources.
if(WIN32)
  set(FENNORIA_COM_SOURCES
    ${_src}/dshow/com_object.cpp
    ${_src}/dshow/media_type.cpp
    ${_src}/dshow/base_filter.cpp
    ${_src}/dshow/base_pin.cpp
    ${_src}/dshow/enumerators.cpp
    ${_src}/dshow/registration.cpp
    ${_src}/dshow/extension_registration.cpp
    ${_src}/dshow/property_page.cpp
    ${_src}/filter/output_pin.cpp
    ${_src}/filter/output_pin_control.cpp
    ${_src}/filter/output_pin_reads.cpp
    ${_src}/filter/output_pin_standard_reads.cpp
    ${_src}/filter/standard_reader.cpp
    ${_src}/filter/source_filter.cpp
    ${_src}/filter/about_property_page.cpp
    ${_src}/filter/settings_property_page.cpp
    ${_src}/filter/source_filter_page_access.cpp)
  set(FENNORIA_COM_MODULE_SOURCES
    ${_src}/filter/module.cpp
    ${_src}/filter/fennoria.def)
  set(FENNORIA_COM_WIN32_LIBS strmiids ole32 oleaut32 uuid)
endif()
