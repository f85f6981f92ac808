#pragma once
// Marks what libkor exports: factories, helper base classes and the entities
// they hand over. Everything else stays inside the library.
#define KOR_EXPORT __attribute__((visibility("default")))
