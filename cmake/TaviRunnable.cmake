# tavi_runnable(VARIABLE TARGET)
#
# Stores the path of a file that runs an executable target when it is executed itself: the executable,
# or, when it is built for another machine, a script that starts it in the emulator. For tests that
# start a program; add_test and gtest_discover_tests see to the emulator themselves.
function(tavi_runnable variable target)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${variable} $<TARGET_FILE:${target}> PARENT_SCOPE)
    return()
  endif()
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/emulated/${target})
  file(
    GENERATE
    OUTPUT ${script}
    CONTENT "#!/bin/sh\nexec '${emulator}' '$<TARGET_FILE:${target}>' \"$@\"\n"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                     WORLD_EXECUTE)
  set(${variable} ${script} PARENT_SCOPE)
endfunction()
