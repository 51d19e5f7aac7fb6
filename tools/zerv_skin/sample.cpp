/* sample: the states of the two screens, and the data that they are tried with. */
#include "tools/zerv_skin/sample.h"

#include "skin/skin_table.h"

#include <iterator>

constexpr int32_t low_battery = 4; /* per cent */

/* What the player says then: in its colours, with the longest line that stays for minutes. */
static const sample_message battery_messages[] = {
    {"The battery level is too low.", 0xF800},
    {"The system will be powered off in 5 分钟.", 0xF800},
};
static const sample_message volume_messages[] = {{"Volume: 35", 0x001F}};

/* ---- the list screen ---- */

struct list_state {
    const char *name;
    bool at_end; /* the cursor; else where the data has it */
    bool battery_low;
    std::span<const sample_message> messages;
};

struct list_data {
    const char *name;
    stage_list_state state;
};

static const list_state list_states[] = {
    {"usual", false, false, {}},
    {"last", true, false, {}},
    {"battery-low", false, true, battery_messages},
    {"volume", false, false, volume_messages},
};

static const char *const menu_rows[] = {"当前播放列表", "打开",     "艺术家",     "专辑", "流派",
                                        "曲目",         "播放列表", "更新媒体库", "设置"};
static const char *const track_rows[] = {"01 Morning Water", "02 푸른 아침", "03 海风",
                                         "04 The Long Road", "05 Q",         "06 Зимняя дорога",
                                         "07 Ça ira",        "08 夜の電車"};
static const char *const long_rows[] = {
    "The Extraordinary Adventures of a Very Long Song Title That Never Seems to End.mp3",
    "아주 아주 긴 노래 제목이 화면의 오른쪽 끝을 훌쩍 넘어서 계속 이어집니다.ogg",
    "这是一个非常非常长的歌曲标题，它一直延伸到屏幕右边缘之外，还没有结束.flac",
};

#define ROWS(texts) texts, std::size(texts)

static const list_data list_datas[] = {
    {"menu", {"主菜单", "Zerv Player 0.4", ROWS(menu_rows), 9, 0, 57}},
    {"tracks", {"Blue Morning", "/media/music/Northern Sea", ROWS(track_rows), 1000, 499, 100}},
    {"long",
     {"The Extraordinary Adventures of a Very Long List Title",
      "/media/card/music/a folder/another folder/a folder whose name takes the whole line/and more",
      ROWS(long_rows), 12, 4, 100}},
    {"empty", {"Current Playlist", "Current Playlist (0 曲目)", ROWS(track_rows), 0, 0, 100}},
};

#undef ROWS

stage_list_state sample_list_state(uint32_t state, uint32_t data)
{
    stage_list_state made = list_datas[data].state;
    const list_state &how = list_states[state];
    if (how.at_end && made.count > 0)
        made.cursor = static_cast<int32_t>(made.count) - 1;
    if (how.battery_low)
        made.battery = low_battery;
    return made;
}

const sample_screen sample_list = {
    .part = "list",
    .usual = "menu",
    .state_count = std::size(list_states),
    .data_count = std::size(list_datas),
    .state_name = [](uint32_t state) { return list_states[state].name; },
    .data_name = [](uint32_t data) { return list_datas[data].name; },
    .messages = [](uint32_t state) { return list_states[state].messages; },
};

/* ---- the play screen ---- */

struct play_state {
    const char *name;
    bool loaded, paused;
    bool battery_low; /* and the track at its end */
    std::span<const sample_message> messages;
};

struct play_data {
    const char *name;
    const char *title, *artist, *album;
    int32_t position_ms, length_ms;
    int32_t battery;
};

static const play_state play_states[] = {
    {"playing", true, false, false, {}},
    {"paused", true, true, false, {}},
    {"stopped", false, true, false, {}},
    {"battery-low", true, false, true, battery_messages},
    {"volume", true, false, false, volume_messages},
};

static const play_data play_datas[] = {
    {"short", "Blue Morning", "Northern Sea", "Harbour Lights", 83000, 225000, 57},
    {"long", "The Extraordinary Adventures of a Very Long Song Title That Never Ends",
     "The Orchestra of the Society for the Preservation of Long Names",
     "Collected Works, Volume Seventeen: Everything Else", 3599000, 3600000, 100},
    {"korean", "푸른 아침", "북쪽 바다", "항구의 불빛", 83000, 225000, 57},
    {"chinese", "蓝色的早晨", "北方的海", "港口的灯火", 83000, 225000, 57},
    {"no-tags", nullptr, "", nullptr, 0, 225000, 57},
};

stage_play_state sample_play_state(uint32_t state, uint32_t data)
{
    const play_state &how = play_states[state];
    const play_data &what = play_datas[data];
    stage_play_state made = {how.loaded, how.paused,       what.title,     what.artist,
                             what.album, what.position_ms, what.length_ms, false,
                             false,      what.battery};
    if (how.battery_low) {
        made.position_ms = made.length_ms;
        made.battery = low_battery;
    }
    return made;
}

const sample_screen sample_play = {
    .part = "play",
    .usual = "playing",
    .state_count = std::size(play_states),
    .data_count = std::size(play_datas),
    .state_name = [](uint32_t state) { return play_states[state].name; },
    .data_name = [](uint32_t data) { return play_datas[data].name; },
    .messages = [](uint32_t state) { return play_states[state].messages; },
};

static bool holds(uint8_t condition, const void *user)
{
    const sample_track *track = static_cast<const sample_track *>(user);
    return condition == skin_condition_at("album_cover") ? track->cover : track->lyrics;
}

bool sample_page_fits(const skin_page *page, const sample_track &track)
{
    return skin_page_fits(page, holds, &track);
}

/* ---- both ---- */

std::string sample_name(const sample_screen &of, uint32_t state, uint32_t data)
{
    if (state == 0)
        return data == 0 ? of.usual : of.data_name(data);
    const std::string name = of.state_name(state);
    return data == 0 ? name : name + "-" + of.data_name(data);
}
