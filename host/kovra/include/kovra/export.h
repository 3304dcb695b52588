#pragma once

// KOVRA_STATIC is defined when the library is linked statically (native builds, unit tests).
#if defined(KOVRA_STATIC) || !defined(_WIN32)
#define KOVRA_API
#elif defined(KOVRA_BUILD)
#define KOVRA_API __declspec(dllexport)
#else
#define KOVRA_API __declspec(dllimport)
#endif
