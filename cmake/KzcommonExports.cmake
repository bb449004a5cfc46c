# kz_limit_exports(<target>): the module exports its contract and nothing
# else, in every build type.
#
# POSIX: library/exports.map, a linker version script, names what is global;
# everything else is local, template instantiations of the standard library
# included (they are emitted with default visibility whatever
# -fvisibility says, and which of them exist depends on inlining).
# Windows: what carries KZCOMMON_API (__declspec(dllexport)) and nothing
# else; --exclude-all-symbols keeps the linker from exporting everything
# should no symbol be marked.
# tests/package/exports-*.txt lists the result; package.exports checks it.
function(kz_limit_exports target)
  if(WIN32)
    if(MINGW)
      target_link_options(${target} PRIVATE -Wl,--exclude-all-symbols)
    endif()
  elseif(NOT APPLE)
    set(map ${PROJECT_SOURCE_DIR}/library/exports.map)
    target_link_options(${target} PRIVATE "-Wl,--version-script=${map}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
  endif()
endfunction()
