#pragma once

// MEDIACORE_STATIC is defined when the library is linked statically (native builds, unit tests).
#if defined(MEDIACORE_STATIC) || !defined(_WIN32)
#define MEDIACORE_API
#elif defined(MEDIACORE_BUILD)
#define MEDIACORE_API __declspec(dllexport)
#else
#define MEDIACORE_API __declspec(dllimport)
#endif
