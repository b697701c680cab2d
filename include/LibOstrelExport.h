/// @file
/// The mark of everything that Lib_Ostrel.dll exports.
#pragma once

#if !defined(_WIN32)
#define OSTREL_API
#elif defined(OSTREL_BUILDING_DLL)
#define OSTREL_API __declspec(dllexport)
#else
#define OSTREL_API __declspec(dllimport)
#endif
