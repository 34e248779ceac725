# Most of a build's time goes into reading the standard library's headers:
# tools/cross-check has each platform read them once.
function(precompile_standard_headers)
  foreach(target IN ITEMS loopbox_runtime_objects loopbox)
    target_precompile_headers(${target} PRIVATE
      <algorithm> <charconv> <cmath> <filesystem> <functional> <map> <memory> <string> <unordered_map> <vector>)
  endforeach()
endfunction()
cmake_language(DEFER CALL precompile_standard_headers)
