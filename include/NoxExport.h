#pragma once

/// Marks what a shared library of this project offers; everything else has hidden visibility.
#define NOX_EXPORT __attribute__((visibility("default")))
