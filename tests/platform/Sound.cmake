qx_add_test(sound_test DirectSound_test.cpp SoundPump_test.cpp AlsaSound_test.cpp LINK platform test_support)
# A sound card of the tests' own, which alsa-lib loads by its configuration.
find_package(PkgConfig REQUIRED)
pkg_check_modules(ALSA REQUIRED IMPORTED_TARGET alsa)
add_library(faulty_card MODULE FaultyCard.cpp)
target_link_libraries(faulty_card PRIVATE qx_options PkgConfig::ALSA)
# For its macros, a plugin outside alsa-lib.
target_compile_definitions(faulty_card PRIVATE PIC)
set_target_properties(faulty_card PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
target_compile_definitions(sound_test PRIVATE FAULTY_CARD="$<TARGET_FILE:faulty_card>")
add_dependencies(sound_test faulty_card)
