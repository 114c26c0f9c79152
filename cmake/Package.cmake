# Installation under /usr and the Debian package (scripts/package.sh). whisper.cpp's libraries and
# CPU modules go to a private folder, lib/murvelo, that the programs find relative to themselves.
include(GNUInstallDirs)
set_target_properties(murvelo murvelo-cli PROPERTIES INSTALL_RPATH "$ORIGIN/../lib/murvelo")
install(TARGETS murvelo-cli RUNTIME DESTINATION bin)

file(GLOB _ggml_modules "${MURVELO_GGML_MODULE_DIR}/libggml-cpu-*.so")
foreach(_library libwhisper.so.1 libggml.so.0 libggml-base.so.0)
  get_filename_component(_real "${MURVELO_WHISPER_LIBRARY_DIR}/${_library}" REALPATH)
  install(FILES "${_real}" DESTINATION lib/murvelo RENAME ${_library})
endforeach()
install(FILES ${_ggml_modules} DESTINATION lib/murvelo)
install(FILES data/vocab-pack.json data/vocab-pack-developer.json DESTINATION share/murvelo)
install(FILES README.md DESTINATION share/doc/murvelo)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME murvelo)
set(CPACK_PACKAGE_VENDOR "Murvelo")
set(CPACK_PACKAGE_CONTACT "Murvelo developers <dev@murvelo.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "push-to-talk dictation at the cursor, recognised on this machine")
set(CPACK_PACKAGE_DESCRIPTION
    "Hold Right Alt, speak, let go: the speech is recognised locally (whisper.cpp or pocketsphinx), "
    "cleaned up by rules (punctuation, capitals, fillers, spoken corrections) and pasted at the cursor "
    "of the application in front; the clipboard comes back afterwards. No cloud.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What the libraries do not name: the pocketsphinx model, a sound server, the accessibility bus.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "pocketsphinx-en-us")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "at-spi2-core, pulseaudio | pipewire-pulse")
set(CPACK_STRIP_FILES ON)
include(CPack)
