/* zerv-skin: helps to make skins for the player. */
#include "tools/zerv_skin/cli.h"

int main(int argc, char **argv)
{
    return cli_main(argc, argv);
}
