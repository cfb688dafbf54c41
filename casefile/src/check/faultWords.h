#ifndef CASEFILE_CHECK_FAULTWORDS_H
#define CASEFILE_CHECK_FAULTWORDS_H

#include "casefile/fault.h"
#include "formRules.h"
#include "layout.h"

namespace casefile {

/// Returns: a broken rule of heading or table with its kind, its place and words for it.
Fault inPublicTerms(const datasource::form::Fault& fault, const Layout& layout);

}  // namespace casefile

#endif
