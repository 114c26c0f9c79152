# Writes the build facts header at every build, touching it only when a fact changed, so the
# commit stays current without recompiling what includes it. Run with -P; needs SOURCE_DIR, OUTPUT,
# VERSION, WHISPER_VERSION_FILE and QT_VERSION.
execute_process(COMMAND git -C "${SOURCE_DIR}" rev-parse --short=12 HEAD
                OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed ERROR_QUIET)
if(failed OR commit STREQUAL "")
  set(commit "unknown")
else()
  execute_process(COMMAND git -C "${SOURCE_DIR}" status --porcelain --untracked-files=no
                  OUTPUT_VARIABLE changes ERROR_QUIET)
  if(NOT changes STREQUAL "")
    string(APPEND commit " (with local changes)")
  endif()
endif()
set(whisper "unknown")
if(EXISTS "${WHISPER_VERSION_FILE}")
  file(STRINGS "${WHISPER_VERSION_FILE}" line REGEX "^set\\(PACKAGE_VERSION \"[0-9.]+\"\\)" LIMIT_COUNT 1)
  string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" whisper "${line}")
endif()
if(QT_VERSION STREQUAL "")
  set(QT_VERSION "unknown")
endif()
string(CONCAT text "#pragma once\n// Generated at build time by cmake/BuildInfo.cmake.\n"
         "#define MURVELO_VERSION \"${VERSION}\"\n#define MURVELO_COMMIT \"${commit}\"\n"
         "#define MURVELO_WHISPER_VERSION \"${whisper}\"\n#define MURVELO_QT_BUILD_VERSION \"${QT_VERSION}\"\n")
if(EXISTS "${OUTPUT}")
  file(READ "${OUTPUT}" old)
endif()
if(NOT old STREQUAL text)
  file(WRITE "${OUTPUT}" "${text}")
endif()
