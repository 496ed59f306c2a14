include $(sort $(wildcard $(BR2_EXTERNAL_ZTAPI_OS_ABS_PATH)/package/*/*.mk))
