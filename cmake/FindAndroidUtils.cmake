# Finds libutils: AndroidUtils::utils. It needs other libraries of the folder that it is in, and finds
# them there by itself.

find_path(AndroidUtils_INCLUDE_DIR utils/RefBase.h PATH_SUFFIXES android)
find_library(AndroidUtils_LIBRARY utils PATH_SUFFIXES android)
mark_as_advanced(AndroidUtils_INCLUDE_DIR AndroidUtils_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidUtils
  REQUIRED_VARS AndroidUtils_LIBRARY AndroidUtils_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install android-libutils-dev")

if(AndroidUtils_FOUND AND NOT TARGET AndroidUtils::utils)
  add_library(AndroidUtils::utils SHARED IMPORTED)
  set_target_properties(AndroidUtils::utils PROPERTIES
    IMPORTED_LOCATION ${AndroidUtils_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${AndroidUtils_INCLUDE_DIR})
endif()
