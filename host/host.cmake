# The stand-in for the appliance's libraries, and the tool that shows the package's services.
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0>=2.66)

# BUILD_SHARED_LIBS makes it a shared library, as a vendor's is.
add_library(host_platform
  host/platform/core.cpp
  host/platform/form.cpp
  host/platform/tesk_index.cpp
  host/platform/tesk_share.cpp
  host/platform/tesk_user.cpp
  host/platform/tlibc.cpp
  host/platform/webapi_util.cpp
  host/platform/webcgi.cpp)
target_link_libraries(host_platform PUBLIC platform PkgConfig::GLIB)

add_executable(packagectl host/packagectl.cpp)
target_link_libraries(packagectl PRIVATE base_cgi video_folders host_platform)
