# Looks for the packages below the library. One that is missing is named as the system knows it, with the switch that
# does without. The README and docs/using.md have the same table.
find_package(Threads REQUIRED)
find_package(PkgConfig QUIET)
if(NOT PKG_CONFIG_FOUND)
  message(FATAL_ERROR "pkg-config was not found; the libraries are looked for with it.\n"
                      "  Debian, Ubuntu: apt-get install pkg-config")
endif()

# Ends the configuration with what is missing and what to do.
function(fliprugair_missing what debian without)
  message(FATAL_ERROR "${what} was not found.\n"
                      "  Debian, Ubuntu: apt-get install ${debian}\n"
                      "  Without it:     ${without}\n"
                      "  All at once:    ${PROJECT_SOURCE_DIR}/scripts/install-packages")
endfunction()

# A library that pkg-config knows, as the target PkgConfig::<prefix>.
function(fliprugair_module prefix module minimum debian without)
  pkg_check_modules(${prefix} QUIET IMPORTED_TARGET GLOBAL "${module}>=${minimum}")
  if(NOT ${prefix}_FOUND)
    fliprugair_missing("${module} ${minimum} or later" "${debian}" "${without}")
  endif()
endfunction()

# One that those who use the installed static libraries link with, too.
function(fliprugair_linked_module prefix module minimum debian without)
  fliprugair_module(${prefix} ${module} ${minimum} ${debian} "${without}")
  set_property(GLOBAL APPEND PROPERTY FLIPRUGAIR_MODULES "${prefix}|${module}|${minimum}|${debian}")
endfunction()

# A package that brings its own CMake files.
macro(fliprugair_package package debian without)
  find_package(${package} QUIET)
  if(NOT ${package}_FOUND)
    fliprugair_missing("${package}" "${debian}" "${without}")
  endif()
endmacro()
