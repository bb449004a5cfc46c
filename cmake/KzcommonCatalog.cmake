# kzcommon_add_catalog(<target> [CHECK] <file.rc> [<file.rc>...])
#
# Creates the SHARED library target <target>: a loadable module that holds the
# string tables of the .rc files and nothing else, for a CKZCatalog (or
# LoadLibraryW and LoadStringW) to read. The .rc files are UTF-8; relative
# paths are taken from the current source folder; their own folder is on the
# include path of the resource compiler.
#
# CHECK runs `kzmsg check` on the .rc files before the module is built, and
# a finding fails the build (numbers that don't print in three digits,
# placeholders the formatter refuses, a single '%' in a text with arguments,
# texts that replace the library's own, ids outside the string tables...).
# Setting KZCOMMON_CHECK_CATALOGS to ON checks every catalog. Off by default.
#
# The module is named so that LoadLibraryW finds it under the bare name
# <target> when it lies beside the executable (or beside kzcommon):
#   Windows  <target>.dll, a resource-only DLL (no code, no entry point) built
#            by the RC language of CMake (windres, rc or llvm-rc).
#   POSIX    lib<target>.so. llvm-rc compiles each .rc to a .res image; the
#            images go, unchanged, into one read-only symbol of the module,
#            kzcommon_string_resources, that LoadLibraryW finds with dlsym
#            (needs an ELF platform and a GNU-compatible assembler).
# As a SHARED library, it lands where kzcommon's module lands: on Windows in
# RUNTIME_OUTPUT_DIRECTORY, elsewhere in LIBRARY_OUTPUT_DIRECTORY; the usual
# variables and target properties apply, install(TARGETS) included.
#
# Example:
#   kzcommon_add_catalog(mycatalog messages/mycatalog.rc)
#   CKZCatalog catalog(OLESTR("mycatalog"));
include_guard(GLOBAL)

# Resource compilers read UTF-8 only when told.
function(_kzcommon_rc_utf8_option out)
  if(CMAKE_RC_COMPILER MATCHES "windres")
    set(${out} "--codepage=65001" PARENT_SCOPE)
  else()
    set(${out} "/c65001" PARENT_SCOPE)
  endif()
endfunction()

# The .rc files as absolute paths, relative ones taken from the calling
# directory.
function(_kzcommon_absolute_paths out)
  set(paths)
  foreach(rc IN LISTS ARGN)
    get_filename_component(rc "${rc}" ABSOLUTE
                           BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
    list(APPEND paths "${rc}")
  endforeach()
  set(${out} "${paths}" PARENT_SCOPE)
endfunction()

# Adds the string tables of the .rc files to an existing library target: the
# common part of kzcommon_add_catalog and of kzcommon's own table.
function(_kzcommon_add_string_tables target)
  _kzcommon_absolute_paths(rc_files ${ARGN})
  if(NOT rc_files)
    message(FATAL_ERROR "kzcommon_add_catalog(${target}): no .rc file given")
  endif()

  if(WIN32)
    if(NOT CMAKE_RC_COMPILE_OBJECT)
      message(FATAL_ERROR
        "kzcommon_add_catalog(${target}): no resource compiler; enable the "
        "RC language (project(... LANGUAGES C CXX RC))")
    endif()
    _kzcommon_rc_utf8_option(utf8)
    target_sources(${target} PRIVATE ${rc_files})
    # A source property: CMake passes only -D and -I of the target's compile
    # options on to a resource compiler.
    set_source_files_properties(${rc_files} TARGET_DIRECTORY ${target}
      PROPERTIES COMPILE_OPTIONS "${utf8}")
    return()
  endif()

  if(APPLE)
    message(FATAL_ERROR
      "kzcommon_add_catalog(${target}): string tables need an ELF platform")
  endif()
  find_program(KZCOMMON_LLVM_RC
    NAMES llvm-rc llvm-rc-19 llvm-rc-18 llvm-rc-17 llvm-rc-16 llvm-rc-15
          llvm-rc-14 llvm-rc-13
    DOC "llvm-rc, which compiles the string tables of kzcommon catalogs")
  if(NOT KZCOMMON_LLVM_RC)
    message(FATAL_ERROR
      "kzcommon_add_catalog(${target}): llvm-rc not found; set "
      "KZCOMMON_LLVM_RC to its path")
  endif()

  # One .res per .rc, numbered so that two a.rc in different folders do not
  # meet; they follow one another in the module, each DWORD-aligned.
  set(work "${CMAKE_CURRENT_BINARY_DIR}/kzcommon_string_tables/${target}")
  set(res_files)
  set(incbin "")
  set(index 0)
  foreach(rc IN LISTS rc_files)
    get_filename_component(name "${rc}" NAME_WE)
    get_filename_component(rc_dir "${rc}" DIRECTORY)
    set(res "${work}/${index}_${name}.res")
    add_custom_command(
      OUTPUT "${res}"
      COMMAND "${CMAKE_COMMAND}" -E make_directory "${work}"
      COMMAND "${KZCOMMON_LLVM_RC}" /C 65001 /I "${rc_dir}" /FO "${res}"
              -- "${rc}"
      MAIN_DEPENDENCY "${rc}"
      COMMENT "Compiling string tables ${rc}"
      VERBATIM)
    list(APPEND res_files "${res}")
    # The path as an assembler string inside a C string literal.
    string(REPLACE "\\" "\\\\" path "${res}")
    string(REPLACE "\"" "\\\"" path "${path}")
    string(REPLACE "\\" "\\\\" path "${path}")
    string(REPLACE "\"" "\\\"" path "${path}")
    string(APPEND incbin
      "    \".balign 4\\n\"\n    \".incbin \\\"${path}\\\"\\n\"\n")
    math(EXPR index "${index} + 1")
  endforeach()

  # A language enabled in this folder: the global list also holds those of
  # other folders (kzcommon's own, under add_subdirectory), whose rules this
  # folder does not have.
  if(CMAKE_CXX_COMPILER_LOADED)
    set(source "${work}/string_tables.cpp")
  elseif(CMAKE_C_COMPILER_LOADED)
    set(source "${work}/string_tables.c")
  else()
    message(FATAL_ERROR
      "kzcommon_add_catalog(${target}): enable the C or CXX language")
  endif()
  # The header ("KZRES001", the size, 4 reserved bytes) lets the loader
  # check that the symbol is ours and how far the images go.
  file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT [==[
/* Generated by kzcommon_add_catalog for @target@: the compiled string tables
   as one read-only symbol, found by LoadLibraryW. */
__asm__(
    ".pushsection .rodata.kzcommon_string_resources,\"a\",%progbits\n"
    ".balign 16\n"
    ".globl kzcommon_string_resources\n"
    ".type kzcommon_string_resources, %object\n"
    "kzcommon_string_resources:\n"
    ".ascii \"KZRES001\"\n"
    ".long .Lkzcommon_res_end - .Lkzcommon_res_begin\n"
    ".long 0\n"
    ".Lkzcommon_res_begin:\n"
@incbin@    ".Lkzcommon_res_end:\n"
    ".size kzcommon_string_resources, . - kzcommon_string_resources\n"
    ".popsection\n");
]==])
  set_source_files_properties("${source}" TARGET_DIRECTORY ${target}
    PROPERTIES OBJECT_DEPENDS "${res_files}")
  target_sources(${target} PRIVATE "${source}")
endfunction()

# Runs kzmsg check on the .rc files of <target> ahead of its build. kzmsg
# is kzcommon::kzmsg: the installed program after find_package, or the one
# built here (inside a client's tree, built for this alone).
function(_kzcommon_check_catalog target)
  if(NOT TARGET kzcommon::kzmsg)
    message(FATAL_ERROR "kzcommon_add_catalog(${target} CHECK): kzmsg, "
      "the program that checks catalogs, is not available")
  endif()
  _kzcommon_absolute_paths(rc_files ${ARGN})
  # A cross build runs the target's kzmsg through its emulator.
  set(emulator)
  if(CMAKE_CROSSCOMPILING AND CMAKE_CROSSCOMPILING_EMULATOR)
    set(emulator ${CMAKE_CROSSCOMPILING_EMULATOR})
  endif()
  set(stamp
    "${CMAKE_CURRENT_BINARY_DIR}/kzcommon_string_tables/${target}.checked")
  add_custom_command(
    OUTPUT "${stamp}"
    COMMAND ${emulator} $<TARGET_FILE:kzcommon::kzmsg> check ${rc_files}
    COMMAND "${CMAKE_COMMAND}" -E make_directory
            "${CMAKE_CURRENT_BINARY_DIR}/kzcommon_string_tables"
    COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
    DEPENDS ${rc_files} $<TARGET_FILE:kzcommon::kzmsg>
    COMMENT "Checking the catalog ${target}"
    VERBATIM)
  add_custom_target(${target}_check DEPENDS "${stamp}")
  get_target_property(imported kzcommon::kzmsg IMPORTED)
  if(NOT imported)
    # The program and the library it loads are built first.
    get_target_property(program kzcommon::kzmsg ALIASED_TARGET)
    add_dependencies(${target}_check ${program})
  endif()
  add_dependencies(${target} ${target}_check)
endfunction()

function(kzcommon_add_catalog target)
  cmake_parse_arguments(PARSE_ARGV 1 _kzcat "CHECK" "" "")
  set(rc_files ${_kzcat_UNPARSED_ARGUMENTS})
  if(NOT rc_files)
    message(FATAL_ERROR
      "usage: kzcommon_add_catalog(<target> [CHECK] <file.rc> [<file.rc>...])")
  endif()
  add_library(${target} SHARED)
  _kzcommon_add_string_tables(${target} ${rc_files})
  if(_kzcat_CHECK OR KZCOMMON_CHECK_CATALOGS)
    _kzcommon_check_catalog(${target} ${rc_files})
  endif()
  if(WIN32)
    # LoadLibraryW(L"<target>") opens <target>.dll. Nothing to link: no
    # run-time, no entry point.
    if(CMAKE_CXX_COMPILER_LOADED)
      set(linker CXX)
    elseif(CMAKE_C_COMPILER_LOADED)
      set(linker C)
    else()
      message(FATAL_ERROR
        "kzcommon_add_catalog(${target}): enable the C or CXX language")
    endif()
    set_target_properties(${target} PROPERTIES
      PREFIX "" SUFFIX ".dll" LINKER_LANGUAGE ${linker})
    if(MSVC)
      target_link_options(${target} PRIVATE /NOENTRY)
    else()
      target_link_options(${target} PRIVATE -nostdlib -Wl,-e,0)
    endif()
  else()
    # lib<target>.so whatever the platform's default for shared libraries.
    set_target_properties(${target} PROPERTIES PREFIX "lib" SUFFIX ".so")
  endif()
endfunction()
