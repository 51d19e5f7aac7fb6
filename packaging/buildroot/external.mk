include $(BR2_EXTERNAL_ZERV_PATH)/zerv-player.mk
