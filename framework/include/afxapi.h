/// @file
/// The mark of everything of the framework that has its body in the library.
#pragma once

#if defined(OSTREL_BUILDING_DLL)
#define AFX_API __declspec(dllexport)
#else
#define AFX_API __declspec(dllimport)
#endif
