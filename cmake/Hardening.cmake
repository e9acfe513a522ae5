# The distribution's hardening flags for what the Debian package installs:
# the tool and the core it is built from (not the sanitized copy, whose
# checks go further, nor the Windows build). They come from dpkg-buildflags
# with every hardening feature asked for, as a Debian package build gets
# them; where dpkg is missing, the same flags are named here.
set(FENNORIA_HARDENING_COMPILE -fstack-protector-strong -Wformat -Werror=format-security
    -D_FORTIFY_SOURCE=2)
set(FENNORIA_HARDENING_LINK -Wl,-z,relro -Wl,-z,now)

function(fennoria_dpkg_flags kind out)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env DEB_BUILD_MAINT_OPTIONS=hardening=+all
            ${FENNORIA_DPKG_BUILDFLAGS} --get ${kind}
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE status)
  if(status EQUAL 0)
    separate_arguments(flags UNIX_COMMAND "${flags}")
    # Optimisation, debugging and path mapping are the build type's business.
    list(FILTER flags EXCLUDE REGEX "^-(O|g|ffile-prefix-map)")
    set(${out} ${flags} PARENT_SCOPE)
  endif()
endfunction()

if(NOT WIN32)
  find_program(FENNORIA_DPKG_BUILDFLAGS dpkg-buildflags)
  if(FENNORIA_DPKG_BUILDFLAGS)
    fennoria_dpkg_flags(CPPFLAGS _cpp)
    fennoria_dpkg_flags(CXXFLAGS _cxx)
    fennoria_dpkg_flags(LDFLAGS _ld)
    set(FENNORIA_HARDENING_COMPILE ${_cpp} ${_cxx})
    set(FENNORIA_HARDENING_LINK ${_ld})
  endif()
  foreach(_target fennoria_core fennoria)
    target_compile_options(${_target} PRIVATE ${FENNORIA_HARDENING_COMPILE})
    target_link_options(${_target} PRIVATE ${FENNORIA_HARDENING_LINK})
  endforeach()
endif()
