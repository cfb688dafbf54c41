#ifndef CASEFILE_EXPORT_H
#define CASEFILE_EXPORT_H

/// CASEFILE_API marks the classes and functions that leave the library, CASEFILE_LOCAL what stays inside of such a
/// class where visibility belongs to the class. CASEFILE_STATIC is defined by whoever builds or uses the static
/// library, CASEFILE_BUILDING only while the shared library itself is compiled. The only header with compiler
/// extensions.

#if defined(CASEFILE_STATIC)
#define CASEFILE_API
#elif defined(_WIN32) && defined(CASEFILE_BUILDING)
#define CASEFILE_API __declspec(dllexport)
#elif defined(_WIN32)
#define CASEFILE_API __declspec(dllimport)
#else
#define CASEFILE_API __attribute__((visibility("default")))
#endif

#if defined(_WIN32) || defined(CASEFILE_STATIC)
#define CASEFILE_LOCAL
#else
#define CASEFILE_LOCAL __attribute__((visibility("hidden")))
#endif

#endif
