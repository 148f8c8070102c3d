#pragma once

/// Marks what a shared build makes visible; everything else stays hidden.
#if defined(__GNUC__)
#define TROVIX_API __attribute__((visibility("default")))
#else
#define TROVIX_API
#endif
