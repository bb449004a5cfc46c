# Shared by the package checks that compare what a build made with a list
# kept in the repository (one entry a line; "#" lines and blank lines are
# comments).
#
# kz_read_list(<file> <out>): the entries of <file>, sorted.
# kz_list_difference(<actual> <expected> <extra> <lost> <out>): one line per
# entry of <actual> missing from <expected> ("<extra>: entry") and per entry
# of <expected> missing from <actual> ("<lost>: entry"); empty when both
# hold the same entries (possibly in different numbers).
function(kz_read_list file out)
  file(STRINGS "${file}" listed)
  set(entries "")
  foreach(line IN LISTS listed)
    if(NOT line MATCHES "^#" AND NOT line STREQUAL "")
      list(APPEND entries "${line}")
    endif()
  endforeach()
  list(SORT entries)
  set(${out} "${entries}" PARENT_SCOPE)
endfunction()

function(kz_list_difference actual expected extra_label lost_label out)
  set(extra ${actual})
  set(lost ${expected})
  if(expected)
    list(REMOVE_ITEM extra ${expected})
  endif()
  if(actual)
    list(REMOVE_ITEM lost ${actual})
  endif()
  set(report "")
  foreach(entry IN LISTS extra)
    string(APPEND report "\n  ${extra_label}: ${entry}")
  endforeach()
  foreach(entry IN LISTS lost)
    string(APPEND report "\n  ${lost_label}: ${entry}")
  endforeach()
  set(${out} "${report}" PARENT_SCOPE)
endfunction()
