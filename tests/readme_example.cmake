# Checks that the README's program is, to the letter, the one that the build compiles.
#     cmake -DREADME=... -DEXAMPLE=... -P readme_example.cmake
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(FIND "${readme}" "```cpp\n${example}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${README} does not show ${EXAMPLE} as it is")
endif()
