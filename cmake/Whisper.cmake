# whisper.cpp (and its ggml) built once per checkout, in their own CMake tree outside either
# flavour's build: so the sanitizer build links the same optimised, uninstrumented libraries as the
# release build instead of compiling them a second time. Included before the sanitizer flags are set.
# Built for any x86-64: no -march=native; ggml's CPU code is compiled once per instruction-set level
# as loadable modules and the best one for the running CPU is chosen at run time, so a package built
# here runs on another machine. Defines the imported target murvelo::whisper and
# MURVELO_GGML_MODULE_DIR (where the CPU modules are found in the build tree).
set(MURVELO_THIRD_PARTY_DIR "${PROJECT_SOURCE_DIR}/build/third_party"
    CACHE PATH "Where the whisper.cpp source is cached and built once for every flavour")
set(MURVELO_WHISPER_JOBS 2 CACHE STRING "Parallel jobs for the one-time whisper.cpp build")

# Named by version, patch set (scripts/fetch-whisper.sh) and options: a changed recipe builds beside
# the old one instead of over it.
set(_whisper_recipe "1.9.1-p1-sgemm")
set(_whisper_build "${MURVELO_THIRD_PARTY_DIR}/whisper-build-${_whisper_recipe}")
set(_whisper_install "${MURVELO_THIRD_PARTY_DIR}/whisper-install-${_whisper_recipe}")
set(_whisper_stamp "${_whisper_install}/.murvelo-built")

file(MAKE_DIRECTORY "${MURVELO_THIRD_PARTY_DIR}")
# Two flavours configured at once must not build it twice.
file(LOCK "${MURVELO_THIRD_PARTY_DIR}/whisper.lock" GUARD FILE TIMEOUT 3600)

if(NOT EXISTS "${_whisper_stamp}")
  execute_process(
    COMMAND bash "${PROJECT_SOURCE_DIR}/scripts/fetch-whisper.sh" "${MURVELO_THIRD_PARTY_DIR}"
    OUTPUT_VARIABLE _whisper_source OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE _fetch_result)
  if(NOT _fetch_result EQUAL 0)
    message(FATAL_ERROR "Could not fetch the whisper.cpp source (scripts/fetch-whisper.sh)")
  endif()
  message(STATUS "Building whisper.cpp once into ${_whisper_build} (a few minutes)")
  string(TIMESTAMP _whisper_started "%s")
  execute_process(
    COMMAND ${CMAKE_COMMAND} -S "${_whisper_source}" -B "${_whisper_build}" -G Ninja
      -DCMAKE_BUILD_TYPE=Release
      -DCMAKE_C_COMPILER=${CMAKE_C_COMPILER} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
      -DCMAKE_INSTALL_PREFIX=${_whisper_install}
      -DCMAKE_INSTALL_LIBDIR=lib "-DCMAKE_INSTALL_RPATH=$ORIGIN:$ORIGIN/../lib"
      -DBUILD_SHARED_LIBS=ON -DGGML_NATIVE=OFF -DGGML_BACKEND_DL=ON -DGGML_CPU_ALL_VARIANTS=ON
      -DWHISPER_BUILD_TESTS=OFF -DWHISPER_BUILD_EXAMPLES=OFF -DWHISPER_BUILD_SERVER=OFF
      -DWHISPER_SDL2=OFF -DWHISPER_CURL=OFF
      # Blocked matrix products for F16 weights: halves the encoder's and the prompt's time.
      -DGGML_LLAMAFILE=ON
      -DGGML_OPENMP=OFF -DGGML_CUDA=OFF -DGGML_VULKAN=OFF -DGGML_METAL=OFF -DGGML_BLAS=OFF
      -DGGML_CCACHE=OFF
    RESULT_VARIABLE _configure_result)
  if(_configure_result EQUAL 0)
    execute_process(
      COMMAND nice -n 10 ${CMAKE_COMMAND} --build "${_whisper_build}" -j ${MURVELO_WHISPER_JOBS}
      RESULT_VARIABLE _build_result)
  endif()
  if(NOT _configure_result EQUAL 0 OR NOT _build_result EQUAL 0)
    message(FATAL_ERROR "Building whisper.cpp failed; see the output above")
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} --install "${_whisper_build}" OUTPUT_QUIET
                  RESULT_VARIABLE _install_result)
  if(NOT _install_result EQUAL 0)
    message(FATAL_ERROR "Installing whisper.cpp into ${_whisper_install} failed")
  endif()
  string(TIMESTAMP _whisper_finished "%s")
  math(EXPR _whisper_seconds "${_whisper_finished} - ${_whisper_started}")
  message(STATUS "whisper.cpp built in ${_whisper_seconds} s")
  file(WRITE "${_whisper_stamp}" "${_whisper_seconds}\n")
endif()
file(LOCK "${MURVELO_THIRD_PARTY_DIR}/whisper.lock" RELEASE)

set(MURVELO_GGML_MODULE_DIR "${_whisper_install}/bin")
set(MURVELO_WHISPER_LIBRARY_DIR "${_whisper_install}/lib")
add_library(murvelo::whisper INTERFACE IMPORTED)
set_target_properties(murvelo::whisper PROPERTIES
  INTERFACE_INCLUDE_DIRECTORIES "${_whisper_install}/include"
  INTERFACE_LINK_LIBRARIES
    "${_whisper_install}/lib/libwhisper.so;${_whisper_install}/lib/libggml.so;${_whisper_install}/lib/libggml-base.so;Threads::Threads;m;dl")
