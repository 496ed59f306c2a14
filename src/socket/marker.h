#ifndef ZT_MARKER_H
#define ZT_MARKER_H

namespace ZT {

/// What ZTSocketMessage::MESSAGE_HEADER holds, for compilers to know: they compare and copy it in
/// place.
constexpr char MARKER[] = "ZTSOCKETMESSAGE";
constexpr unsigned int MARKER_SIZE = sizeof MARKER - 1;

} // namespace ZT

#endif
