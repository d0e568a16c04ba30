# tarnwick_hardening: flags that make memory errors harder to exploit. Every target has them through
# tarnwick_build, so that the tests run what is shipped; tests/support/hardening.py checks what comes out.
#
# Two properties of a target matter here:
#
#   TARNWICK_STATIC       links the program statically, still position-independent
#   TARNWICK_UNOPTIMISED  the target is compiled with -O0, which _FORTIFY_SOURCE refuses
include(CheckCXXCompilerFlag)

option(TARNWICK_HARDENING "Compile and link with protections against memory errors" ON)

add_library(tarnwick_hardening INTERFACE)
set(static $<BOOL:$<TARGET_PROPERTY:TARNWICK_STATIC>>)

if(NOT TARNWICK_HARDENING)
  target_link_options(tarnwick_hardening INTERFACE $<${static}:-static>)
else()
  target_compile_options(tarnwick_hardening INTERFACE -fPIE -fstack-protector-strong -D_GLIBCXX_ASSERTIONS)
  target_link_options(tarnwick_hardening INTERFACE
    $<IF:${static},-static-pie,-pie> LINKER:-z,relro,-z,now,-z,noexecstack)

  # Clang 14 has no stack probes for AArch64, and the other two are for one processor each. Clang warns of a flag that
  # it does not use.
  set(CMAKE_REQUIRED_FLAGS -Werror)
  foreach(flag -fstack-clash-protection -fcf-protection=full -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "TARNWICK${flag}" supported)
    check_cxx_compiler_flag(${flag} ${supported})
    if(${supported})
      target_compile_options(tarnwick_hardening INTERFACE ${flag})
    endif()
  endforeach()
  unset(CMAKE_REQUIRED_FLAGS)

  # The checks of the C library need an optimiser, and hide calls from a sanitizer.
  string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
  set(flags "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}}")
  if(flags MATCHES "-O[1-3s]" AND NOT flags MATCHES "-O0|-fsanitize")
    set(TARNWICK_FORTIFIED ON)
    target_compile_options(tarnwick_hardening INTERFACE
      $<$<NOT:$<BOOL:$<TARGET_PROPERTY:TARNWICK_UNOPTIMISED>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
  endif()
endif()
