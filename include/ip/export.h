#pragma once

// What differs between compilers: the mark of exported functions, the return address of a call, and the mark
// that prevents inlining.

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
