#include "view/view.h"

constinit view *view_list = nullptr;
constinit view *view_play = nullptr;
constinit view *overlay_msg = nullptr;
