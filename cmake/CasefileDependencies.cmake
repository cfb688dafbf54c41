# The header-only libraries of the casefile program: CLI11 (arguments) and nlohmann's JSON.
#
# They are the build machine's headers on every target. Their folders are linked into the build tree,
# one by one, so that a cross compiler does not see the rest of the build machine's headers.
find_path(CASEFILE_CLI11_DIR CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH PATHS /usr/include /usr/local/include
          DOC "Folder that holds CLI/CLI.hpp" REQUIRED)
find_path(CASEFILE_JSON_DIR nlohmann/json.hpp NO_CMAKE_FIND_ROOT_PATH PATHS /usr/include /usr/local/include
          DOC "Folder that holds nlohmann/json.hpp" REQUIRED)

set(casefile_headers ${CMAKE_CURRENT_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${casefile_headers})
file(CREATE_LINK ${CASEFILE_CLI11_DIR}/CLI ${casefile_headers}/CLI COPY_ON_ERROR SYMBOLIC)
file(CREATE_LINK ${CASEFILE_JSON_DIR}/nlohmann ${casefile_headers}/nlohmann COPY_ON_ERROR SYMBOLIC)

add_library(Casefile_headers INTERFACE)
target_include_directories(Casefile_headers SYSTEM INTERFACE ${casefile_headers})
