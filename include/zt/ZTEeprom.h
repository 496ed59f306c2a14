#ifndef ZT_ZTEEPROM_H
#define ZT_ZTEEPROM_H

#include "zt/ztExport.h"

#include <cstdint>
#include <map>
#include <string>

namespace ZT {

/// What the EEPROM keeps about the device, with the member of ZTEEPROMMessageData that holds it.
enum ZTEEPROMCommand : std::int32_t {
    EEPROM_FIELD_0 = 0,               ///< value
    EEPROM_PRODUCT_TYPE = 2,          ///< byte
    EEPROM_PRODUCT_VARIANT = 4,       ///< byte
    EEPROM_FIELD_6 = 6,               ///< byte
    EEPROM_FIELD_8 = 8,               ///< text
    EEPROM_PART_NUMBER = 10,          ///< text
    EEPROM_CUSTOMER_PART_NUMBER = 12, ///< cannot be read: see ZTEeprom::readDataFromEeprom()
    EEPROM_SERIAL_NUMBER = 14,        ///< text
    EEPROM_FIELD_16 = 16,             ///< byte
    EEPROM_FIELD_17 = 17,             ///< byte, can only be written
    EEPROM_FIELD_19 = 19,             ///< value
    EEPROM_FIELD_21 = 21,             ///< byte
    EEPROM_FIELD_23 = 23,             ///< byte
    EEPROM_FIELD_25 = 25              ///< value
};

/// Room for one field.
union ZTEEPROMMessageData {
    char text[33];       ///< 32 bytes and the NUL
    std::uint8_t byte;   ///< 0 to 255
    std::uint32_t value; ///< 32 bits
};

/// The device's identity data, which the health-monitor daemon reads from an EEPROM. Nothing is
/// kept: every call asks the daemon, on a connection of its own, and waits for it as
/// sendCommandToHealthDaemon() does, without limit. SIGPIPE may come as it may there, and programs
/// inherit the connection.
///
/// The first read or write fills the two maps below without a lock: let it happen on one thread
/// before others use the class. A read of a number that is no ZTEEPROMCommand changes a map, too.
/// Nothing but std::bad_alloc is thrown.
class ZT_API ZTEeprom {
public:
    /// Reads one field into `data`, which keeps its other bytes.
    ///
    /// 0; 1 if the daemon cannot be reached or the exchange fails; 5 for what is not readable,
    /// after an exchange all the same: EEPROM_FIELD_17, which the daemon is thereby told to set to
    /// 0, and every other number, which asks for field 0. A daemon that hangs up without an answer
    /// gives 0 and zeros.
    ///
    /// EEPROM_CUSTOMER_PART_NUMBER is not the daemon's: it prints a line on standard output, stores
    /// what getEEPROMData() does, and returns 11.
    static int readDataFromEeprom(ZTEEPROMCommand command, ZTEEPROMMessageData& data);

    /// Writes the byte of EEPROM_FIELD_17. 0; 1 as above; 11 for any other command, and then
    /// nothing is sent.
    static int writeDataToEeprom(ZTEEPROMCommand command, ZTEEPROMMessageData& data);

    /// 0 to 255; 0 also if it cannot be read.
    static int getProductType();
    static int getProductVariant();

    /// Up to 32 bytes; empty also if it cannot be read.
    static std::string getSerialNumber();
    static std::string getPartNumber();

    /// The one character 0x0C, after a line on standard output.
    static std::string getCustomerPartNumber();
};

/// The daemon's message type for each ZTEEPROMCommand, and how long the field at an address is.
/// Empty until the first read or write.
extern ZT_API std::map<int, int> commandTranslationMap;
extern ZT_API std::map<int, int> addressToLengthMapping;

/// Puts every row into both maps; what else they hold stays.
ZT_API void fillCommandMap();

/// Reads a field from the EEPROM device itself, which is not supported: stores `command` as the
/// value of `data` and returns 11.
ZT_API int getEEPROMData(ZTEEPROMCommand command, ZTEEPROMMessageData& data);

/// Opens "/dev/eeprom2" for reading and writing, with initEepromDev() and the device's own unlock
/// word, and returns the descriptor, -1 if that failed, after a line on standard output. An open
/// descriptor is returned again by every later call, on whatever thread; it belongs to the library
/// and is open until the process ends. Programs that the process starts inherit it. The first calls
/// must not run on several threads at once.
ZT_API int initEeprom();

/// Opens `devicePath` for reading and writing. If that fails, writes the unlock word, the CRC-32 of
/// `key` that begins with `seed`, 4 bytes in the machine's byte order, to the file `unlockPath` in
/// place of what it holds, waits 100 ms, whatever signals come, and tries again. Returns the
/// descriptor, which is the caller's, and which programs inherit; or -1 if `unlockPath` cannot be
/// opened or the device still cannot. Whether the word was taken is not looked at: the second try
/// tells.
ZT_API int initEepromDev(const char* devicePath, std::uint32_t seed, const char* key,
                         const char* unlockPath);

} // namespace ZT

#endif
