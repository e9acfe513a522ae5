# The project's one version number, project(VERSION ...), made available to
# the code (fennoria_version.h) and to the Windows files' version resources.
set(FENNORIA_GENERATED_DIR ${PROJECT_BINARY_DIR}/generated)
configure_file(${CMAKE_CURRENT_LIST_DIR}/templates/fennoria_version.h.in
               ${FENNORIA_GENERATED_DIR}/fennoria_version.h @ONLY)

# Adds a VERSIONINFO resource to the Windows program or DLL `target`:
# file and product version from the project, `file_name` as the original
# file name, `description` as the file description, `file_type` VFT_APP or
# VFT_DLL.
function(fennoria_version_resource target file_name description file_type)
  set(FENNORIA_RC_FILE_NAME "${file_name}")
  set(FENNORIA_RC_DESCRIPTION "${description}")
  set(FENNORIA_RC_FILE_TYPE "${file_type}")
  get_filename_component(FENNORIA_RC_INTERNAL_NAME "${file_name}" NAME_WE)
  set(_rc ${FENNORIA_GENERATED_DIR}/${target}_version.rc)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/templates/version.rc.in ${_rc} @ONLY)
  target_sources(${target} PRIVATE ${_rc})
endfunction()
