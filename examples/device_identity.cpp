// Prints what the device is, as its EEPROM tells through the health-monitor daemon.

#include "zt/ZTEeprom.h"
#include "zt/ZTSignalHandler.h"

#include <csignal>
#include <cstdio>

int main()
{
    // A daemon that hangs up must not end us.
    ZT::ZTSignalHandler::installEmptySignalHandler(SIGPIPE);

    // The getters cannot tell that there is no answer, a read can.
    ZT::ZTEEPROMMessageData data{};
    if (ZT::ZTEeprom::readDataFromEeprom(ZT::EEPROM_SERIAL_NUMBER, data) != 0) {
        std::puts("cannot reach the health-monitor daemon");
        return 1;
    }
    std::printf("serial number    %s\n", data.text);
    std::printf("part number      %s\n", ZT::ZTEeprom::getPartNumber().c_str());
    std::printf("product type     %d\n", ZT::ZTEeprom::getProductType());
    std::printf("product variant  %d\n", ZT::ZTEeprom::getProductVariant());
    return 0;
}
