# For AArch64 with Debian's cross compiler, and with the platform's libraries from the sysroot that
# scripts/aarch64-sysroot.sh makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# The C library and the compiler's own come with the compiler, everything else is in the sysroot.
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH root)
set(sysroot ${root}/build/sysroot-aarch64)
set(CMAKE_FIND_ROOT_PATH ${sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The libraries are looked for where Debian has them, seen from the sysroot when the program is linked and
# from the root directory when it runs: it carries no path of the machine that built it.
set(libraries /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)
# Static programs must have no run path: with one, a static PIE of Debian 12's C library crashes at its start.
set(AndroidPlatform_RUN_PATH ${libraries})
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${sysroot}${libraries}:${sysroot}/usr/lib/p7zip")
set(CMAKE_SKIP_RPATH ON)

# For the tests.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L ${sysroot})
