#ifndef DATASOURCE_DATASOURCE_H
#define DATASOURCE_DATASOURCE_H

/// All of the library's headers.
#include "Datasource/file.h"
#include "Datasource/fileStream.h"
#include "Datasource/platform/assertion.h"
#include "Datasource/platform/throwError.h"
#include "Datasource/refCount.h"
#include "Datasource/sortTemp/lz4Compress.h"
#include "Datasource/sortTemp/zlibCompress.h"
#include "Datasource/strBaseIO.h"
#include "Datasource/systemFileException.h"
#include "Datasource/version.h"
#include "Datasource/zcmpsFilestr.h"

#endif
