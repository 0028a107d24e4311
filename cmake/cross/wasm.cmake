# Toolchain: WebAssembly with 16-byte vectors, with Debian's Emscripten.
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
# The engine's own exceptions: without them every call that may throw would go by way of JavaScript.
set(CMAKE_CXX_FLAGS_INIT -fwasm-exceptions)
