/* zerv-keys: shows what the machine's buttons arrive as, and writes keys.txt. */
#include "tools/zerv_keys/keys.h"

int main(int argc, char **argv)
{
    return keys_main(argc, argv);
}
