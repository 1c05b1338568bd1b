# Installs the build into a fresh prefix and checks what a desktop looks for, and that the
# installed command line runs from there.
set(prefix "${BUILD_DIR}/install-check")
file(REMOVE_RECURSE "${prefix}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}" RESULT_VARIABLE failed
  OUTPUT_QUIET)
if(failed)
  message(FATAL_ERROR "cmake --install failed")
endif()
foreach(path bin/brindlet bin/brindlet-cli bin/brindlet-sandbox-exec share/applications/brindlet.desktop
    share/icons/hicolor/scalable/apps/brindlet.svg)
  if(NOT EXISTS "${prefix}/${path}")
    message(FATAL_ERROR "missing after installation: ${path}")
  endif()
endforeach()
file(STRINGS "${prefix}/share/applications/brindlet.desktop" exec REGEX "^Exec=")
if(NOT exec STREQUAL "Exec=brindlet")
  message(FATAL_ERROR "the desktop entry starts ${exec}")
endif()
execute_process(COMMAND "${prefix}/bin/brindlet-cli" --version OUTPUT_VARIABLE version RESULT_VARIABLE failed)
if(failed OR NOT version MATCHES "^brindlet-cli ")
  message(FATAL_ERROR "the installed brindlet-cli does not run: ${version}")
endif()
file(REMOVE_RECURSE "${prefix}")
