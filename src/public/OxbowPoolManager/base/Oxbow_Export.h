#ifndef OXBOW_OXBOW_EXPORT_H
#define OXBOW_OXBOW_EXPORT_H

/** Marks what leaves the shared library; everything else is compiled hidden. */
#if defined(__GNUC__)
#define OXBOW_EXPORT __attribute__((visibility("default")))
#else
#define OXBOW_EXPORT
#endif

#endif
