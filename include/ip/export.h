#pragma once

// What differs between compilers, in one place: the export mark, the address a call returns to,
// and the mark that keeps a function from being inlined.

#if !defined(_WIN32) || defined(KVTIP_STATIC)
#define KVTIP_API
#elif defined(KVTIP_BUILD)
#define KVTIP_API __declspec(dllexport)
#else
#define KVTIP_API __declspec(dllimport)
#endif

#if defined(_MSC_VER)
#include <intrin.h>
#define KVTIP_NOINLINE __declspec(noinline)
#define KVTIP_RETURN_ADDRESS() _ReturnAddress()
#else
#define KVTIP_NOINLINE __attribute__((noinline))
#define KVTIP_RETURN_ADDRESS() __builtin_return_address(0)
#endif
