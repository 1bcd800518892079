#pragma once

// Marks what kiv.dll exports.
#if defined(_WIN32) && defined(KIV_BUILDING_DLL)
#define KIV_API __declspec(dllexport)
#elif defined(_WIN32)
#define KIV_API __declspec(dllimport)
#else
#define KIV_API __attribute__((visibility("default")))
#endif
