# Runs TOOL --version (through EMULATOR when given) and expects exactly one
# line "fennoria VERSION" and exit status 0.
execute_process(COMMAND ${EMULATOR} ${TOOL} --version
  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "fennoria --version exited with ${status}: ${err}")
endif()
string(REPLACE "\r\n" "\n" out "${out}")
if(NOT out STREQUAL "fennoria ${VERSION}\n")
  message(FATAL_ERROR "fennoria --version printed '${out}', expected 'fennoria ${VERSION}'")
endif()
message(STATUS "fennoria --version: fennoria ${VERSION}")
