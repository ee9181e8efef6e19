# Warnings apply to the project's own targets only.
function(lumora_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
endfunction()
