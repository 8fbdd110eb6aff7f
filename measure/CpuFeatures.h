#pragma once

// Whether the processor the program runs on has the instruction sets the vector kernels are
// built for; asked once each. False wherever the compiler can't ask.
namespace cpu
{
#if defined(__GNUC__) && defined(__x86_64__)
inline bool hasAvx()
{
    static const bool has = []
    {
        __builtin_cpu_init();
        return __builtin_cpu_supports ("avx") != 0;
    }();
    return has;
}

inline bool hasAvx512f()
{
    static const bool has = []
    {
        __builtin_cpu_init();
        return __builtin_cpu_supports ("avx512f") != 0;
    }();
    return has;
}
#else
inline bool hasAvx() { return false; }
inline bool hasAvx512f() { return false; }
#endif
} // namespace cpu
