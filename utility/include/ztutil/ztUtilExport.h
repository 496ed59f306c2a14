#ifndef ZTUTIL_ZTUTILEXPORT_H
#define ZTUTIL_ZTUTILEXPORT_H

/// Marks what the library offers; everything else stays hidden inside it.
#define ZTUTIL_API __attribute__((visibility("default")))

#endif
