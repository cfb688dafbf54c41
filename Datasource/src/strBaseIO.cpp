#include "Datasource/strBaseIO.h"

VORN_StrBaseIO::~VORN_StrBaseIO() noexcept(false) = default;
