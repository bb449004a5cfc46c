# kz_add_test_library(<name> <module>): the sources of <module> compiled once
# more as the static library <name>, for the test binary and the fuzzers.
#
# It defines KZ_TEST_HOOKS (test-only facilities such as the allocation
# counters) and KZCOMMON_STATIC (KZCOMMON_API exports nothing), and makes the
# internal headers (platform/, strings/internal/) reachable: a program that
# links it reaches the library's internals directly, while the shipped module
# keeps its exports to the contract. A program links either this library or
# the module, never both, so that it holds one copy of the process-wide state.
# The string tables stay in the module alone: tests read them through
# LoadLibraryW(L"kzcommon"), as the default catalog does, so the module is
# built with the library and lies beside the tests.
#
# Call it after every source of <module> has been added.
function(kz_add_test_library name module)
  get_target_property(sources ${module} SOURCES)
  list(FILTER sources EXCLUDE REGEX "\\.rc$|/kzcommon_string_tables/")
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC
    ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name}
    PUBLIC KZ_TEST_HOOKS KZCOMMON_STATIC
    PRIVATE KZCOMMON_BUILDING)
  target_compile_features(${name} PUBLIC cxx_std_17)
  target_link_libraries(${name} PUBLIC ${KZ_SYSTEM_LIBS})
  kz_target_warnings(${name})
  add_dependencies(${name} ${module})
endfunction()
