#pragma once

/// Marks a function that also runs on a device.
#ifdef __CUDACC__
#define NOX_HD __host__ __device__
#else
#define NOX_HD
#endif
