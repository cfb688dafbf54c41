# The warnings under which all our own code is compiled.
function(datasource_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${DATASOURCE_WARNINGS_AS_ERRORS}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                             $<$<BOOL:${DATASOURCE_WARNINGS_AS_ERRORS}>:-Werror>)
  endif()
endfunction()
