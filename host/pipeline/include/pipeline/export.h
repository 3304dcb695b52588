#pragma once

// MEDIAPIPELINE_STATIC is defined when the library is linked statically (native builds, unit tests).
#if defined(MEDIAPIPELINE_STATIC) || !defined(_WIN32)
#define MEDIAPIPELINE_API
#elif defined(MEDIAPIPELINE_BUILD)
#define MEDIAPIPELINE_API __declspec(dllexport)
#else
#define MEDIAPIPELINE_API __declspec(dllimport)
#endif
