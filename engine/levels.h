// The processor features that each engine build may use, one row per feature:
// ENGINE_FEATURE(level, ID, "name"), where "name" is the word that both
// __builtin_cpu_supports and the compiler's -m<name> option know. A level's
// build is compiled with the options of its own rows and of every row below
// it, and the dispatcher takes the level only when the processor has all of
// them; so no build holds an instruction that the test did not allow. The
// build system reads this file too: keep one row per line, as written.
// Included with ENGINE_FEATURE defined, once per use.

// The compiler's SSE4.2 includes the SSE extensions before it; every processor
// with SSE4.2 has them, but a virtual one could hide them.
ENGINE_FEATURE(2, SSE3, "sse3")
ENGINE_FEATURE(2, SSSE3, "ssse3")
ENGINE_FEATURE(2, SSE41, "sse4.1")
ENGINE_FEATURE(2, SSE42, "sse4.2")
ENGINE_FEATURE(3, AVX, "avx")
ENGINE_FEATURE(4, AVX2, "avx2")
ENGINE_FEATURE(5, AVX512F, "avx512f")
ENGINE_FEATURE(5, AVX512DQ, "avx512dq")
ENGINE_FEATURE(5, AVX512IFMA, "avx512ifma")
ENGINE_FEATURE(5, AVX512CD, "avx512cd")
ENGINE_FEATURE(5, AVX512BW, "avx512bw")
ENGINE_FEATURE(5, AVX512VL, "avx512vl")
ENGINE_FEATURE(5, AVX512VBMI, "avx512vbmi")
ENGINE_FEATURE(5, AVX512VBMI2, "avx512vbmi2")
ENGINE_FEATURE(5, AVX512VNNI, "avx512vnni")
ENGINE_FEATURE(5, AVX512BITALG, "avx512bitalg")
ENGINE_FEATURE(5, AVX512VPOPCNTDQ, "avx512vpopcntdq")
// The level-5 build fuses multiply-adds, so it tests for them too. Every
// processor with the AVX-512 features above has FMA, so the choice of level
// is the same in practice.
ENGINE_FEATURE(5, FMA, "fma")
