#ifndef ZT_SOAK_HEALTHUSER_H
#define ZT_SOAK_HEALTHUSER_H

#include "Actor.h"
#include "Disturbance.h"

#include "zt/ZTEeprom.h"
#include "zt/ZTHealthManagement.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>

/// Sets values of the health-monitor daemon and reads the serial number. Each answer is right, and
/// there is one unless the daemon was away meanwhile.
class HealthUser : public Actor {
public:
    HealthUser(unsigned int seed, const Disturbance& daemon, std::string serialNumber)
        : Actor(seed), daemon(daemon), serialNumber(std::move(serialNumber))
    {}

    std::string report() const override
    {
        return std::to_string(asked) + " health requests, " + std::to_string(answered) +
               " answered";
    }

private:
    void playRound() override
    {
        const Disturbance::Witness witness(daemon);
        ++asked;
        const bool isAnswered = random.isOneIn(2) ? setValue() : readSerialNumber();
        check(isAnswered || witness.isDisturbed(), "a daemon that is there answers");
        answered += isAnswered ? 1 : 0;
        pauseUpTo(5);
    }

    bool setValue()
    {
        std::uint32_t value = asked;
        const int result = ZT::ZTHealthManagement::sendMessage(ZT::COMMAND_33, &value, true);
        check(value == asked, "the value comes back as it was set");
        check(isOneOf({0, 1, 7, 8, 14}, result), "the result is that of a daemon that is away");
        return result == 0;
    }

    bool readSerialNumber()
    {
        ZT::ZTEEPROMMessageData data{};
        const int result = ZT::ZTEeprom::readDataFromEeprom(ZT::EEPROM_SERIAL_NUMBER, data);
        const std::string text = data.text;
        check(text == serialNumber || text.empty(), "the serial number is right or missing");
        check(isOneOf({0, 1}, result), "the result is that of a daemon that is away");
        return text == serialNumber;
    }

    static bool isOneOf(std::initializer_list<int> results, int result)
    {
        return std::find(results.begin(), results.end(), result) != results.end();
    }

    const Disturbance& daemon;
    const std::string serialNumber;
    std::uint32_t asked = 0;
    std::uint32_t answered = 0;
};

#endif
