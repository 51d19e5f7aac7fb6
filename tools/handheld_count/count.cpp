/* count: a plug-in of the emulator that counts every instruction of the machine, into a file that others
 * may read at any time. Each instruction for itself: a block may be left before its end.
 *
 *     into=FILE                  numbers of 64 bits: struct counts below
 *     tick=ADDRESS               of the kernel's function for each tick of its clock, hexadecimal
 *     spin=FROM-END              not counted: where the kernel waits for a chip by counting down, which goes
 *                                by the speed of the machine around the emulator; may come several times
 *     frame=PAGE:WORD:WORD       a function of the player, by where it begins in a page of memory and its
 *     sleep=PAGE:WORD:WORD       first two instructions: wherever it was loaded, it is known by them */
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

/* What the emulator offers to plug-ins, version 1; no package has its header. */
extern "C" {
struct qemu_plugin_tb;
struct qemu_plugin_insn;
using tb_trans_call = void (*)(uint64_t id, qemu_plugin_tb *tb);
using exec_call = void (*)(unsigned processor, void *user);
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, tb_trans_call call);
size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb *tb);
qemu_plugin_insn *qemu_plugin_tb_get_insn(const qemu_plugin_tb *tb, size_t index);
uint64_t qemu_plugin_insn_vaddr(const qemu_plugin_insn *insn);
const void *qemu_plugin_insn_data(const qemu_plugin_insn *insn);
void qemu_plugin_register_vcpu_insn_exec_inline(qemu_plugin_insn *insn, int add, void *to,
                                                uint64_t amount);
void qemu_plugin_register_vcpu_insn_exec_cb(qemu_plugin_insn *insn, exec_call call, int registers,
                                            void *user);
int qemu_plugin_install(uint64_t id, const void *info, int count, char **arguments);
extern const int qemu_plugin_version;
}

const int qemu_plugin_version = 1;

constexpr uint32_t page_mask = 0xFFF, kernel_begins = 0x80000000;

/* What had been counted when a place was reached. */
struct reached {
    uint64_t times;
    uint64_t first_instructions, first_ticks, last_instructions, last_ticks;
};

struct counts {
    uint64_t instructions, ticks;
    reached frame, sleep;
};

struct place {
    uint32_t in_page, words[2];
    bool told;
};

struct span {
    uint32_t from, end;
};

/* One processor: nobody else adds. */
static constinit counts *counted = nullptr;
static constinit uint32_t tick_at = 0;
static constinit span spins[4] = {};
static constinit size_t spin_count = 0;
static constinit place frame_place = {}, sleep_place = {};

static void reach(unsigned, void *user)
{
    reached *of = static_cast<reached *>(user);
    of->last_instructions = counted->instructions;
    of->last_ticks = counted->ticks;
    if (of->times++ > 0)
        return;
    of->first_instructions = counted->instructions;
    of->first_ticks = counted->ticks;
}

static uint32_t word_of(const qemu_plugin_insn *insn)
{
    uint32_t word = 0;
    memcpy(&word, qemu_plugin_insn_data(insn), sizeof word);
    return word;
}

static bool is_at(const place &wanted, const qemu_plugin_tb *tb, size_t index)
{
    qemu_plugin_insn *insn = qemu_plugin_tb_get_insn(tb, index);
    const auto at = static_cast<uint32_t>(qemu_plugin_insn_vaddr(insn));
    return wanted.told && at < kernel_begins && (at & page_mask) == wanted.in_page &&
           index + 1 < qemu_plugin_tb_n_insns(tb) && word_of(insn) == wanted.words[0] &&
           word_of(qemu_plugin_tb_get_insn(tb, index + 1)) == wanted.words[1];
}

static bool spins_at(uint32_t at)
{
    return std::any_of(spins, spins + spin_count,
                       [=](const span &each) { return at >= each.from && at < each.end; });
}

static void count_block(uint64_t, qemu_plugin_tb *tb)
{
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(tb); i++) {
        qemu_plugin_insn *insn = qemu_plugin_tb_get_insn(tb, i);
        const auto at = static_cast<uint32_t>(qemu_plugin_insn_vaddr(insn));
        if (!spins_at(at))
            qemu_plugin_register_vcpu_insn_exec_inline(insn, 0, &counted->instructions, 1);
        if (at == tick_at)
            qemu_plugin_register_vcpu_insn_exec_inline(insn, 0, &counted->ticks, 1);
        if (is_at(frame_place, tb, i))
            qemu_plugin_register_vcpu_insn_exec_cb(insn, reach, 0, &counted->frame);
        if (is_at(sleep_place, tb, i))
            qemu_plugin_register_vcpu_insn_exec_cb(insn, reach, 0, &counted->sleep);
    }
}

static int open_counts(const char *path)
{
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return -1;
    void *shared = MAP_FAILED;
    if (ftruncate(fd, sizeof *counted) == 0)
        shared = mmap(nullptr, sizeof *counted, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    (void)close(fd);
    if (shared == MAP_FAILED)
        return -1;
    counted = static_cast<counts *>(shared);
    return 0;
}

/* 0 when the argument makes sense. */
static int take(const char *argument)
{
    for (auto [name, at] : {std::pair{"frame=", &frame_place}, std::pair{"sleep=", &sleep_place}}) {
        if (strncmp(argument, name, strlen(name)) != 0)
            continue;
        at->told = sscanf(argument + strlen(name), "%x:%x:%x", &at->in_page, &at->words[0],
                          &at->words[1]) == 3;
        return at->told ? 0 : -1;
    }
    if (strncmp(argument, "into=", 5) == 0)
        return open_counts(argument + 5);
    span *spin = &spins[spin_count];
    if (spin_count < std::size(spins) &&
        sscanf(argument, "spin=%x-%x", &spin->from, &spin->end) == 2) {
        spin_count++;
        return 0;
    }
    return sscanf(argument, "tick=%x", &tick_at) == 1 ? 0 : -1;
}

int qemu_plugin_install(uint64_t id, const void *, int count, char **arguments)
{
    for (int i = 0; i < count; i++) {
        if (take(arguments[i]) != 0)
            return -1;
    }
    if (!counted)
        return -1;
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    return 0;
}
