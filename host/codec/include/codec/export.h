#pragma once

// MEDIACODEC_STATIC is defined when the library is linked statically (native builds, unit tests).
#if defined(MEDIACODEC_STATIC) || !defined(_WIN32)
#define MEDIACODEC_API
#elif defined(MEDIACODEC_BUILD)
#define MEDIACODEC_API __declspec(dllexport)
#else
#define MEDIACODEC_API __declspec(dllimport)
#endif
