# Warning flags and sanitizer settings shared by every target of the project.
set(TEVRA_WARNINGS -Wall -Wextra)

function(tevra_set_warnings target)
  target_compile_options(${target} PRIVATE ${TEVRA_WARNINGS})
endfunction()

if(TEVRA_SANITIZE)
  string(REPLACE ";" "," _tevra_san "${TEVRA_SANITIZE}")
  add_compile_options(-fsanitize=${_tevra_san} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_tevra_san})
endif()

# Fuzz builds instrument the whole library for coverage; only the fuzz
# targets link libFuzzer's main.
if(TEVRA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
