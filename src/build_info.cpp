#include "qvncoa.h"

#ifndef QVNCOA_BUILD_NUMBER
#define QVNCOA_BUILD_NUMBER 1
#endif

extern "C" {
const int qvx_build_number = QVNCOA_BUILD_NUMBER;
const char* const qvx_build_version = "0.1.0";
const char* const qvx_build_info = "libqvncoa 0.1.0 (" __DATE__ ")";
}
