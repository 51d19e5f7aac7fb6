/* list_cfg: the settings list. Main thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct list_cfg_setting;

/* The setting whose values are shown; null at the top level, where the settings are. */
extern const list_cfg_setting *list_cfg_cur;

/* Back to the top level without touching a value (list_cfg_cur = none). */
void list_cfg_reset();
/* A duration as text, cut at `size`: 3725 gives "1 小时 2 分钟 5 秒". Returns bytes written. */
int list_cfg_span2str(int32_t seconds, char *to, size_t size);
