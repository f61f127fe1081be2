# varno_target_defaults(TARGET): the language level and the warnings of this project's own targets.
# Nothing of it reaches a consumer.
set(varnoWarnings
    -Wall
    -Wextra
    -Wpedantic
    -Walloca
    -Wcast-align
    -Wcast-qual
    -Wconversion
    -Wctor-dtor-privacy
    -Wdouble-promotion
    -Wextra-semi
    -Wfloat-equal
    -Wformat=2
    -Wimplicit-fallthrough
    -Wmissing-declarations
    -Wnon-virtual-dtor
    -Wold-style-cast
    -Woverloaded-virtual
    -Wredundant-decls
    -Wshadow
    -Wsign-conversion
    -Wundef
    -Wunused
    -Wvla
    -Wzero-as-null-pointer-constant)
set(varnoGccWarnings
    -Wduplicated-branches
    -Wduplicated-cond
    -Wlogical-op
    -Wmismatched-tags
    -Wredundant-tags
    -Wsuggest-override)
set(varnoClangWarnings
    -Wcomma
    -Wdeprecated
    -Wheader-hygiene
    -Winconsistent-missing-destructor-override
    -Wloop-analysis
    -Wmissing-variable-declarations
    -Wnewline-eof
    -Wrange-loop-analysis
    -Wshadow-all
    -Wshorten-64-to-32
    -Wsuggest-override
    -Wthread-safety
    -Wundefined-func-template
    -Wunreachable-code-aggressive
    -Wunused-member-function
    -Wunused-template)

function(varno_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF COMPILE_WARNING_AS_ERROR
                                                                ${VARNO_WARNINGS_AS_ERRORS})
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE ${varnoWarnings})
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE ${varnoGccWarnings})
    if(CMAKE_UNITY_BUILD)
      # In a batch, g++ takes a source for a header that others might include, too.
      target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
    endif()
  elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE ${varnoClangWarnings})
  endif()
endfunction()
