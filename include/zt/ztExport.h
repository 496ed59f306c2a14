#ifndef ZT_EXPORT_H
#define ZT_EXPORT_H

/// Marks what the library offers; everything else stays hidden inside it.
#define ZT_API __attribute__((visibility("default")))

#endif
