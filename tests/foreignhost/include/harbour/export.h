#pragma once

#if !defined(_WIN32)
#define HARBOUR_API
#elif defined(HARBOUR_BUILD)
#define HARBOUR_API __declspec(dllexport)
#else
#define HARBOUR_API __declspec(dllimport)
#endif
