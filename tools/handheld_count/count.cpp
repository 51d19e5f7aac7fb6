/* count: a plug-in of the emulator that counts every instruction of the machine, into a file that others
 * may read at any time. Each instruction for itself: a block may be left before its end. */
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

/* What the emulator offers to plug-ins, version 1; no package has its header. */
extern "C" {
struct qemu_plugin_tb;
struct qemu_plugin_insn;
using tb_trans_call = void (*)(uint64_t id, qemu_plugin_tb *tb);
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, tb_trans_call call);
size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb *tb);
qemu_plugin_insn *qemu_plugin_tb_get_insn(const qemu_plugin_tb *tb, size_t index);
void qemu_plugin_register_vcpu_insn_exec_inline(qemu_plugin_insn *insn, int add, void *to,
                                                uint64_t amount);
int qemu_plugin_install(uint64_t id, const void *info, int count, char **arguments);
extern const int qemu_plugin_version;
}

const int qemu_plugin_version = 1;

/* One processor: nobody else adds. */
static constinit uint64_t *counter = nullptr;

static void count_block(uint64_t, qemu_plugin_tb *tb)
{
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(tb); i++)
        qemu_plugin_register_vcpu_insn_exec_inline(qemu_plugin_tb_get_insn(tb, i), 0, counter, 1);
}

static int open_counter(const char *path)
{
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return -1;
    void *shared = MAP_FAILED;
    if (ftruncate(fd, sizeof *counter) == 0)
        shared = mmap(nullptr, sizeof *counter, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    (void)close(fd);
    if (shared == MAP_FAILED)
        return -1;
    counter = static_cast<uint64_t *>(shared);
    return 0;
}

int qemu_plugin_install(uint64_t id, const void *, int count, char **arguments)
{
    static constexpr char key[] = "into=";
    for (int i = 0; i < count; i++) {
        if (strncmp(arguments[i], key, sizeof key - 1) == 0 &&
            open_counter(arguments[i] + sizeof key - 1) == 0) {
            qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
            return 0;
        }
    }
    return -1;
}
