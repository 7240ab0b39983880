# libbase.a: the shared object's own compiled objects, for tools linked statically.
#
# An archive has no version script, so the objects are first linked into one
# relocatable object and every hidden name is then made local: the C++ helpers,
# the module-private variables and functions leave the application's namespace,
# and only the exported C names (plus weak instances of standard-library
# templates, which any C++ program may share) stay global.
option(LIBBASE_BUILD_STATIC "Also build the static library libbase.a" ON)
if(NOT LIBBASE_BUILD_STATIC)
  return()
endif()

set(LIBBASE_STATIC_OBJECT ${PROJECT_BINARY_DIR}/libbase.o)
add_custom_command(OUTPUT ${LIBBASE_STATIC_OBJECT}
  COMMAND ${CMAKE_LINKER} -r -o ${LIBBASE_STATIC_OBJECT}.all $<TARGET_OBJECTS:base>
  COMMAND ${CMAKE_OBJCOPY} --localize-hidden ${LIBBASE_STATIC_OBJECT}.all ${LIBBASE_STATIC_OBJECT}
  COMMAND ${CMAKE_COMMAND} -E rm ${LIBBASE_STATIC_OBJECT}.all
  DEPENDS base
  COMMAND_EXPAND_LISTS
  COMMENT "Linking the objects of libbase into one, hidden names made local")

add_library(base_static STATIC ${LIBBASE_STATIC_OBJECT})
add_library(libbase::static ALIAS base_static)
set_target_properties(base_static PROPERTIES
  OUTPUT_NAME base
  EXPORT_NAME static
  LINKER_LANGUAGE CXX)
target_include_directories(base_static INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/lib_base>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/libbase>)
# The objects are C++: a C application needs the C++ runtime as well.
target_link_libraries(base_static INTERFACE Threads::Threads $<LINK_ONLY:stdc++>)
install(TARGETS base_static EXPORT libbaseTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
# A stripped install (install/strip, the packages) keeps the archive's symbols
# but not its debug information.
install(CODE "if(CMAKE_INSTALL_DO_STRIP)
  execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:base_static>\")
endif()" COMPONENT dev)
