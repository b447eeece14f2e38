# A 64-bit ARM board, with Debian's cross compiler and the board's packages beside this machine's.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
