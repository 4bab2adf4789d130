# tavi_headers(TARGET)
#
# The headers in and below the current folder are the target's. Each has to compile by itself, which the
# target all_verify_interface_header_sets sees to.
function(tavi_headers target)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS *.h)
  # The entry points' header is theirs, who include it first.
  list(FILTER headers EXCLUDE REGEX "_api\\.h$")
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${CMAKE_CURRENT_SOURCE_DIR} FILES ${headers})
endfunction()
