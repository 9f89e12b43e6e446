# What a part of the project needs: found, or noted by the name of its Debian package.
#     need(NAME DEBIAN_PACKAGE [OPTION...])             as find_package does
#     need_module(TARGET MODULE DEBIAN_PACKAGE)         by pkg-config, as PkgConfig::TARGET
#     settle(OPTION WHAT)    if something is missing: with AUTO, says so and leaves the folder; with ON, an error
macro(need name debian)
  find_package(${name} QUIET ${ARGN})
  if(NOT ${name}_FOUND)
    list(APPEND missing ${debian})
  endif()
endmacro()

macro(need_module target module debian)
  find_package(PkgConfig QUIET)
  if(PKG_CONFIG_FOUND)
    pkg_check_modules(${target} QUIET IMPORTED_TARGET GLOBAL ${module})
  endif()
  if(NOT ${target}_FOUND)
    list(APPEND missing ${debian})
  endif()
endmacro()

macro(settle option what)
  if(missing)
    list(REMOVE_DUPLICATES missing)
    list(JOIN missing " " missing)
    if(${option} STREQUAL AUTO)
      message(STATUS "Without ${what}: missing ${missing} (apt-get install ${missing})")
      return()
    endif()
    message(FATAL_ERROR "${what}: missing ${missing}. Install it (Debian: apt-get install ${missing}) "
      "or choose -D${option}=OFF")
  endif()
endmacro()
