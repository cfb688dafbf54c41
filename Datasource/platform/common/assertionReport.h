#ifndef DATASOURCE_PLATFORM_ASSERTIONREPORT_H
#define DATASOURCE_PLATFORM_ASSERTIONREPORT_H

namespace datasource::platform {

/// The report while no handler is set: the text on standard error, then abort.
void reportAssertionByDefault(const wchar_t* expression, const wchar_t* file, unsigned int line);

}  // namespace datasource::platform

#endif
