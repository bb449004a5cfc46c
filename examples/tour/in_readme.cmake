# Fails unless README.md shows tour.cpp word for word in one ```cpp block,
# so the README's example is the one that the test command builds and runs.
#   cmake -DREADME=<README.md> -DSOURCE=<tour.cpp> -P in_readme.cmake
file(READ "${README}" readme)
file(READ "${SOURCE}" source)
string(FIND "${readme}" "```cpp\n${source}```\n" at)
if(at EQUAL -1)
  message(FATAL_ERROR "README.md does not show ${SOURCE} as it stands: "
    "copy the file into its ```cpp block")
endif()
