# Most of a build's time goes into reading the standard library's headers:
# tools/cross-check has each platform read them once.
foreach(target IN ITEMS loopbox_runtime loopbox)
  cmake_language(DEFER CALL target_precompile_headers ${target} PRIVATE
    <algorithm> <charconv> <cmath> <filesystem> <functional> <map> <memory> <string> <unordered_map> <vector>)
endforeach()
