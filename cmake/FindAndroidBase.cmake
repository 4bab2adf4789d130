# The Android base library. Debian packages it (android-libbase-dev, android-liblog-dev) outside the
# linker's and the compiler's default folders and without a pkg-config file.
#
# Defines the target Android::base, and AndroidBase_HAS_TOKENIZE.
find_path(AndroidBase_INCLUDE_DIR android-base/logging.h PATH_SUFFIXES android)
find_library(AndroidBase_LIBRARY base PATH_SUFFIXES ${CMAKE_LIBRARY_ARCHITECTURE}/android android
             NO_CMAKE_FIND_ROOT_PATH)
find_library(AndroidBase_LOG_LIBRARY log PATH_SUFFIXES ${CMAKE_LIBRARY_ARCHITECTURE}/android android
             NO_CMAKE_FIND_ROOT_PATH)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidBase REQUIRED_VARS AndroidBase_LIBRARY
                                  AndroidBase_LOG_LIBRARY AndroidBase_INCLUDE_DIR)

if(AndroidBase_FOUND AND NOT TARGET Android::base)
  get_filename_component(AndroidBase_LIBRARY_DIR ${AndroidBase_LIBRARY} DIRECTORY)
  add_library(Android::log SHARED IMPORTED)
  set_target_properties(Android::log PROPERTIES IMPORTED_LOCATION ${AndroidBase_LOG_LIBRARY})
  add_library(Android::base SHARED IMPORTED)
  # A system directory: the headers hold pragmas that g++ warns about.
  set_target_properties(
    Android::base
    PROPERTIES IMPORTED_LOCATION ${AndroidBase_LIBRARY}
               INTERFACE_INCLUDE_DIRECTORIES ${AndroidBase_INCLUDE_DIR}
               INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${AndroidBase_INCLUDE_DIR})
  # libbase needs liblog, which the linker does not find by itself in that folder.
  target_link_options(Android::base INTERFACE "LINKER:-rpath-link,${AndroidBase_LIBRARY_DIR}")

  include(CheckCXXSourceCompiles)
  include(CMakePushCheckState)
  cmake_push_check_state(RESET)
  set(CMAKE_REQUIRED_LIBRARIES Android::base)
  check_cxx_source_compiles(
    "#include <android-base/strings.h>
     int main() { return static_cast<int>(android::base::Tokenize(\"a\", \" \").size()); }"
    AndroidBase_HAS_TOKENIZE)
  cmake_pop_check_state()
endif()
