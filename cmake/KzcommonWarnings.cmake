# The project's warning set, for its own targets only: a client's flags are
# its own business.
function(kz_target_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${KZ_WERROR}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wcast-qual -Wformat=2 -Wundef
      $<$<BOOL:${KZ_WERROR}>:-Werror>)
  endif()
endfunction()
