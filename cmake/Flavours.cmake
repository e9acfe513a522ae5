# The core library can be built in several flavours (plain, sanitized) in one
# tree, so that one `ctest` run covers both.
set(FENNORIA_SANITIZER_FLAGS
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)

function(fennoria_core name flags)
  add_library(${name} STATIC ${FENNORIA_CORE_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(${name} PRIVATE ${FENNORIA_WARNINGS})
  if(flags)
    target_compile_options(${name} PUBLIC ${flags})
    target_link_options(${name} PUBLIC ${flags})
  endif()
  if(WIN32)
    target_link_libraries(${name} PUBLIC ${FENNORIA_CORE_WIN32_LIBS})
  endif()
endfunction()
