#ifndef DATASOURCE_EXPORT_H
#define DATASOURCE_EXPORT_H

/// Which names leave the library, and how each compiler is told so. The only header with compiler
/// extensions.
///
/// - DATASOURCE_API: on a class or function that is exported whole.
/// - DATASOURCE_CLASS and DATASOURCE_MEMBER: on a class of which some members stay inside, and on
///   each member of it that is exported. Where visibility belongs to the class, the class is visible
///   and the inner members carry DATASOURCE_LOCAL; where it belongs to the member, only the members
///   marked DATASOURCE_MEMBER are exported.
/// - DATASOURCE_TEMPLATE_DECLARATION and DATASOURCE_TEMPLATE_DEFINITION: on an exported explicit
///   instantiation; one Windows compiler wants the attribute on the declaration, the other on the
///   definition.
///
/// DATASOURCE_STATIC is defined by whoever builds or uses the static library, DATASOURCE_BUILDING
/// only while the shared library itself is compiled.

#if defined(_WIN32)
#if defined(DATASOURCE_STATIC)
#define DATASOURCE_API
#elif defined(DATASOURCE_BUILDING)
#define DATASOURCE_API __declspec(dllexport)
#else
#define DATASOURCE_API __declspec(dllimport)
#endif
#define DATASOURCE_CLASS
#define DATASOURCE_MEMBER DATASOURCE_API
#define DATASOURCE_LOCAL
#if defined(_MSC_VER) && defined(DATASOURCE_BUILDING)
#define DATASOURCE_TEMPLATE_DECLARATION
#define DATASOURCE_TEMPLATE_DEFINITION DATASOURCE_API
#else
#define DATASOURCE_TEMPLATE_DECLARATION DATASOURCE_API
#define DATASOURCE_TEMPLATE_DEFINITION
#endif
#else
#define DATASOURCE_API __attribute__((visibility("default")))
#define DATASOURCE_CLASS DATASOURCE_API
#define DATASOURCE_MEMBER
#define DATASOURCE_LOCAL __attribute__((visibility("hidden")))
#define DATASOURCE_TEMPLATE_DECLARATION DATASOURCE_API
#define DATASOURCE_TEMPLATE_DEFINITION
#endif

#endif
