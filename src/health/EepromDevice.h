#ifndef ZT_EEPROMDEVICE_H
#define ZT_EEPROMDEVICE_H

namespace ZT {

/// The EEPROM's descriptor, -1 until initEeprom() has opened it.
extern int eepromDescriptor;

} // namespace ZT

#endif
