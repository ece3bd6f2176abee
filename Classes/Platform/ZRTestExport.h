#pragma once

#include "ZRExport.h"

/// Exports what no host uses, from builds with tests alone: some of them run on the shared library.
#ifdef ZR_EXPORTS_FOR_TESTS
#define ZR_TEST_EXPORT ZR_EXPORT
#else
#define ZR_TEST_EXPORT
#endif
