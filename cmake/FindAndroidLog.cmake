# Finds liblog and the headers beside it: AndroidLog::log, and AndroidLog::headers for code that
# takes only headers from there. Debian keeps Android's libraries in folders of their own.

find_path(AndroidLog_INCLUDE_DIR android/log.h PATH_SUFFIXES android)
find_library(AndroidLog_LIBRARY log PATH_SUFFIXES android)
mark_as_advanced(AndroidLog_INCLUDE_DIR AndroidLog_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidLog
  REQUIRED_VARS AndroidLog_LIBRARY AndroidLog_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install android-liblog-dev and android-libbase-dev")

if(AndroidLog_FOUND AND NOT TARGET AndroidLog::log)
  add_library(AndroidLog::headers INTERFACE IMPORTED)
  set_target_properties(AndroidLog::headers PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${AndroidLog_INCLUDE_DIR})
  add_library(AndroidLog::log SHARED IMPORTED)
  set_target_properties(AndroidLog::log PROPERTIES
    IMPORTED_LOCATION ${AndroidLog_LIBRARY}
    INTERFACE_LINK_LIBRARIES AndroidLog::headers)
endif()
