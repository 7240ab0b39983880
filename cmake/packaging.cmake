# Debian packages, one per install component:
#   libbase1       lib    the shared object
#   libbase-dev    dev    headers, the .so link, libbase.a, pkg-config file, CMake package
#   libbase-tools  tools  libbase-demo, libbase-logcat and the demo's settings file
# Built by `cpack` in a tree configured with the package or package-armhf
# preset (prefix /usr, multiarch library directory).

# The Debian architecture and multiarch triplet of the compiler's target.
execute_process(COMMAND ${CMAKE_C_COMPILER} -dumpmachine
  OUTPUT_VARIABLE LIBBASE_TARGET_TRIPLET OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND dpkg-architecture -t ${LIBBASE_TARGET_TRIPLET} -qDEB_HOST_ARCH
  OUTPUT_VARIABLE LIBBASE_DEB_ARCH OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libbase)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "libbase developers <libbase@localhost>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
if(LIBBASE_DEB_ARCH)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${LIBBASE_DEB_ARCH})
endif()

set(CPACK_DEBIAN_LIB_PACKAGE_NAME libbase${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIB_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIB_DESCRIPTION "base services for the application processes of the device
Memory wrappers and lists, configuration files, XML messages, element
streams, framed TCP connections with TPKT and SIP message cutting, timers,
search structures, trace logging and mailboxes, behind a plain C ABI.")
# shlibs file and ldconfig trigger, so that packages built against it depend on it.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libbase-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_DESCRIPTION "development files of libbase, the base services library
Headers, the shared-object link, the static library libbase.a, the
pkg-config file and the CMake package.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME libbase-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "demo application and log listener of libbase
libbase-demo runs one typical exchange of libbase end to end on 127.0.0.1;
libbase-logcat prints the datagrams of the network log.")

# What the shared object and the tools need from the system. Natively
# dpkg-shlibdeps works it out; a cross build states it: the least versions of
# the C library, GCC runtime and C++ library whose symbols they use (programs
# need the C library's 2.34 start-up). The package check holds these against
# the symbol versions the binaries require.
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_LIB_PACKAGE_DEPENDS "libc6 (>= 2.33), libgcc-s1 (>= 3.5), libstdc++6 (>= 11)")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1 (>= 3.5), libstdc++6 (>= 11)")
else()
  set(CPACK_DEBIAN_LIB_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
  # The tools' libbase1 comes from the component dependency; this lets
  # dpkg-shlibdeps find the shared object they link.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
endif()

set(CPACK_COMPONENTS_ALL lib dev)
if(TARGET libbase-demo)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
include(CPack)
cpack_add_component(lib DISPLAY_NAME "shared library")
cpack_add_component(dev DISPLAY_NAME "development files" DEPENDS lib)
cpack_add_component(tools DISPLAY_NAME "demo and tools" DEPENDS lib)

# The ABI check (abi/check_abi.sh) reads the shared object's debug
# information, which must describe every record of the public headers, also
# those the library's own code does not use.
target_compile_options(base PRIVATE -fno-eliminate-unused-debug-types)
