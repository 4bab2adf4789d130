# Compiler and linker flags.
#
#   tavi_flags      what everything is built with: warnings, sanitizers
#   tavi_hardening  what the module is built with besides: it runs in the audio HAL's process
include(CheckCXXCompilerFlag)

add_library(tavi_flags INTERFACE)
target_compile_options(tavi_flags INTERFACE -Wall -Wextra -Wpedantic -Werror)
if(TAVI_SANITIZE)
  target_compile_options(tavi_flags INTERFACE -fsanitize=${TAVI_SANITIZE} -fno-omit-frame-pointer
                                              -fno-sanitize-recover=all)
  target_link_options(tavi_flags INTERFACE -fsanitize=${TAVI_SANITIZE})
  if(TAVI_SANITIZE MATCHES "undefined")
    # The module has no type information, which this check of the tools' code would look for.
    target_compile_options(tavi_flags INTERFACE -fno-sanitize=vptr)
  endif()
endif()

add_library(tavi_hardening INTERFACE)
target_compile_options(tavi_hardening INTERFACE -fno-exceptions -fno-rtti -fstack-protector-strong)
# Log lines know the source file; where it was built is nobody's business.
target_compile_options(tavi_hardening INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(NOT TAVI_SANITIZE)
  # Fortified calls need optimisation, and hide the calls that the sanitizers watch.
  target_compile_options(tavi_hardening
                         INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()
foreach(flag -fstack-clash-protection -fcf-protection=full -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "TAVI_HAS${flag}" has_flag)
  check_cxx_compiler_flag("-Werror ${flag}" ${has_flag})
  if(${has_flag})
    target_compile_options(tavi_hardening INTERFACE ${flag})
  endif()
endforeach()
target_link_options(tavi_hardening INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
