#pragma once

// RENDERERAUDIO_STATIC is defined when the module's classes are linked into a program (native builds, tests).
#if defined(RENDERERAUDIO_STATIC)
#define RENDERERAUDIO_API
#elif defined(RENDERERAUDIO_BUILD)
#define RENDERERAUDIO_API __declspec(dllexport)
#else
#define RENDERERAUDIO_API __declspec(dllimport)
#endif
