# tarnwick_add_pure_library(NAME SOURCES... [LINKS libraries...])
#
# The half of a folder that parses, subtracts and formats. It is compiled so that the collector's header
# refuses to be included, and it links to pure libraries and the platform alone.
function(tarnwick_add_pure_library name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LINKS")
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE tarnwick_build)
  target_compile_definitions(${name} PRIVATE TARNWICK_PURE)
endfunction()
