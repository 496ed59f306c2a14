SUMMARY = "Operating-system layer of an embedded device"
DESCRIPTION = "Threads and locks, message passing, power management, identity data, sockets, network \
settings, system queries and file copying for the applications of an embedded device."
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=db26eda780dae18def7b9735930e4834"

inherit cmake externalsrc
EXTERNALSRC = "${THISDIR}/../../../.."
DEPENDS = "boost zlib"

# The device's own, see the README.
ZT_EEPROM_UNLOCK_SEED ?= "0x00000000"
ZT_EEPROM_UNLOCK_KEY ?= "000000"

PACKAGECONFIG ??= ""
PACKAGECONFIG[tools] = "-DZT_BUILD_TOOLS=ON,-DZT_BUILD_TOOLS=OFF,cli11 nlohmann-json"
EXTRA_OECMAKE = " \
    -DZT_BUILD_TESTS=OFF \
    -DZT_BUILD_EXAMPLES=OFF \
    -DZT_EEPROM_UNLOCK_SEED=${ZT_EEPROM_UNLOCK_SEED} \
    -DZT_EEPROM_UNLOCK_KEY=${ZT_EEPROM_UNLOCK_KEY} \
"

# A device that has a companion library of its own leaves ours out.
PACKAGES =+ "libztapi-utility ${PN}-tools"
FILES:libztapi-utility = "${libdir}/libZTAPI_Utility${SOLIBS}"
FILES:${PN}-tools = "${bindir} ${datadir}/bash-completion"

# ifconfig, route and killall, from here or from BusyBox.
RRECOMMENDS:${PN} = "net-tools psmisc"
