# The inflater's sources (Datasource/form/inflate), for whoever compiles the form room.
include(CheckCXXSourceCompiles)

# datasource_inflate_sources(VARIABLE): their names, with the loop for x86 processors where the compiler knows it, and
# with that loop's own flags for the calling folder. Which loop runs is chosen when the program does.
function(datasource_inflate_sources variable)
  set(folder ${PROJECT_SOURCE_DIR}/Datasource/form/inflate)
  set(flags -mbmi2 -mssse3)
  list(JOIN flags " " CMAKE_REQUIRED_FLAGS)
  check_cxx_source_compiles(
    "#include <immintrin.h>
     int main() {
       const __m128i bytes = _mm_setzero_si128();
       const auto low = _bzhi_u64(static_cast<unsigned long long>(_mm_cvtsi128_si64(_mm_shuffle_epi8(bytes, bytes))), 3);
       return __builtin_cpu_supports(\"bmi2\") != 0 ? static_cast<int>(low) : 0;
     }"
    DATASOURCE_HAS_X86_LOOP)
  set(names blockCodes canonicalCode carefulLoop portableLoop stepTable strictInflate)
  if(DATASOURCE_HAS_X86_LOOP)
    list(APPEND names x86Choice x86Loop)
    set_source_files_properties(${folder}/x86Loop.cpp PROPERTIES COMPILE_OPTIONS "${flags}")
  else()
    list(APPEND names portableChoice)
  endif()
  list(TRANSFORM names PREPEND ${folder}/)
  list(TRANSFORM names APPEND .cpp)
  set(${variable} ${names} PARENT_SCOPE)
endfunction()
