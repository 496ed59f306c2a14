################################################################################
#
# ztapi-os-abs
#
################################################################################

# Give this folder's tree to Buildroot as BR2_EXTERNAL. In the source tree it
# builds what it stands in, beside a release the archive of that.
ZTAPI_OS_ABS_VERSION = 1.0.0
ZTAPI_OS_ABS_SITE = $(BR2_EXTERNAL_ZTAPI_OS_ABS_PATH)/../..
ZTAPI_OS_ABS_SITE_METHOD = local
ZTAPI_OS_ABS_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude /build
ZTAPI_OS_ABS_LICENSE = MIT
ZTAPI_OS_ABS_LICENSE_FILES = LICENSE
ZTAPI_OS_ABS_INSTALL_STAGING = YES
ZTAPI_OS_ABS_DEPENDENCIES = boost zlib
ZTAPI_OS_ABS_CONF_OPTS = \
	-DZT_BUILD_TESTS=OFF \
	-DZT_BUILD_EXAMPLES=OFF \
	-DZT_EEPROM_UNLOCK_SEED=$(call qstrip,$(BR2_PACKAGE_ZTAPI_OS_ABS_EEPROM_UNLOCK_SEED)) \
	-DZT_EEPROM_UNLOCK_KEY=$(call qstrip,$(BR2_PACKAGE_ZTAPI_OS_ABS_EEPROM_UNLOCK_KEY))

ifeq ($(BR2_PACKAGE_ZTAPI_OS_ABS_TOOLS),y)
ZTAPI_OS_ABS_DEPENDENCIES += cli11 json-for-modern-cpp
ZTAPI_OS_ABS_CONF_OPTS += -DZT_BUILD_TOOLS=ON
else
ZTAPI_OS_ABS_CONF_OPTS += -DZT_BUILD_TOOLS=OFF
endif

$(eval $(cmake-package))
