# Sound: ALSA, or a clock.
find_package(PkgConfig REQUIRED)
pkg_check_modules(ALSA REQUIRED IMPORTED_TARGET alsa)
target_sources(platform PRIVATE posix/AlsaSound.cpp posix/DirectSound.cpp posix/DirectSoundBuffer.cpp posix/DirectSoundDevice.cpp
                                posix/NullSound.cpp posix/PumpedOutput.cpp posix/SoundLoop.cpp posix/SoundPump.cpp)
target_link_libraries(platform PRIVATE PkgConfig::ALSA)
