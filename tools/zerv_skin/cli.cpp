/* cli: the command line of zerv-skin. */
#include "tools/zerv_skin/cli.h"

#include "core/services/program.h"
#include "skin/skin.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <unistd.h>

constexpr int status_usage = 2;

struct cli_command {
    const char *name, *arguments, *help;
    int (*run)(const cli_options *options);
    bool has_subject = true; /* it wants one argument */
};

static constexpr cli_command commands[] = {
    {"check", "PACKAGE",
     "Reports what the player would leave out of a package (a zip or a folder), and what it\n"
     "would show differently from what you meant. Exit status: 0 nothing found, 1 warnings,\n"
     "2 errors.\n"
     "  --json       the result as JSON, for editors\n"
     "  --font FILE  the font to measure texts with\n",
     cli_check},
    {"preview", "PACKAGE -o FOLDER",
     "Writes a PNG of every part, variant and state, and of every variant with sample data, and\n"
     "sheet.png with all of them.\n"
     "  -o FOLDER    where the pictures go; created if missing\n"
     "  --font FILE  the font to draw with\n",
     cli_preview},
    {"watch", "FOLDER",
     "Shows a skin in a window and follows its changes. Keys: left and right step through\n"
     "variants, up and down through states, page up and page down through sample data, tab\n"
     "changes the part, o outlines elements, n names them, escape or q leaves. Without a\n"
     "display, it writes the pictures of preview again after each change, until the program\n"
     "is ended.\n"
     "  -o FOLDER    where the pictures go without a display (default NAME-preview)\n"
     "  --font FILE  the font to draw with\n",
     cli_watch},
    {"studio", "FOLDER",
     "Opens a page for a browser and prints its address: every variant, state and sample of a\n"
     "skin side by side, made again when a file is saved; its elements with their lines and what\n"
     "check finds; the real player with the skin; export. Ctrl-C ends it. ZERV_WEB_PORT names\n"
     "another port than 8330.\n"
     "  --font FILE  the font to draw with\n",
     cli_studio},
    {"new", "NAME", "Makes a folder with a small working skin to start from.\n", cli_new},
    {"pack", "FOLDER",
     "Makes a zip of a skin folder that has no errors. Drawings of other programs, hidden\n"
     "and backup files are left out.\n"
     "  -o FILE      the zip (default NAME.zip)\n"
     "  --force      pack it despite errors\n",
     cli_pack},
    {.name = "words",
     .arguments = "",
     .help = "Lists everything that a part file may say: elements with their attributes, types of\n"
             "bars, actions, conditions and tokens.\n"
             "  --json       the same as JSON, for editors\n",
     .run = cli_words,
     .has_subject = false},
};

static void print_usage(FILE *to)
{
    fputs("Usage: zerv-skin COMMAND ...\nHelps to make skins for " PROGRAM_NAME ".\n\n", to);
    for (const cli_command &each : commands)
        fprintf(to, "  zerv-skin %s%s%s\n", each.name, *each.arguments ? " " : "", each.arguments);
    fputs("\nzerv-skin COMMAND --help says more. The manual is zerv-skin(1).\n", to);
}

static void print_command(const cli_command &of, FILE *to)
{
    fprintf(to, "Usage: zerv-skin %s%s%s\n%s", of.name, *of.arguments ? " " : "", of.arguments,
            of.help);
}

enum option_code {
    option_help = 'h',
    option_output = 'o',
    option_json = 1000,
    option_font,
    option_force
};

static const option long_options[] = {
    {"help", no_argument, nullptr, option_help},
    {"output", required_argument, nullptr, option_output},
    {"json", no_argument, nullptr, option_json},
    {"font", required_argument, nullptr, option_font},
    {"force", no_argument, nullptr, option_force},
    {nullptr, 0, nullptr, 0},
};

enum class parse_result { run, help, wrong };

static parse_result parse_options(const cli_command &of, int argc, char **argv, cli_options *to)
{
    optind = 0; /* starts over, also after an earlier call */
    for (int code = 0; (code = getopt_long(argc, argv, "ho:", long_options, nullptr)) != -1;) {
        switch (code) {
        case option_help:
            return parse_result::help;
        case option_output:
            to->output = optarg;
            break;
        case option_json:
            to->json = true;
            break;
        case option_font:
            to->font = optarg;
            break;
        case option_force:
            to->force = true;
            break;
        default:
            return parse_result::wrong; /* getopt has said why */
        }
    }
    if (argc - optind != (of.has_subject ? 1 : 0))
        return parse_result::wrong;
    to->subject = of.has_subject ? argv[optind] : nullptr;
    return parse_result::run;
}

static int run_command(const cli_command &of, int argc, char **argv)
{
    cli_options options = {};
    options.colours = isatty(STDOUT_FILENO) && !getenv("NO_COLOR");
    options.progress = isatty(STDERR_FILENO);
    switch (parse_options(of, argc, argv, &options)) {
    case parse_result::help:
        print_command(of, stdout);
        return 0;
    case parse_result::wrong:
        print_command(of, stderr);
        return status_usage;
    case parse_result::run:
        break;
    }
    if (skin_init() != 0)
        return status_usage;
    const int status = of.run(&options);
    (void)skin_exit();
    if (fflush(stdout) != 0) {
        perror("zerv-skin");
        return status_usage;
    }
    return status;
}

int cli_main(int argc, char **argv)
{
    const char *name = argc > 1 ? argv[1] : "";
    if (strcmp(name, "--help") == 0 || strcmp(name, "-h") == 0) {
        print_usage(stdout);
        return 0;
    }
    for (const cli_command &each : commands)
        if (strcmp(each.name, name) == 0)
            return run_command(each, argc - 1, argv + 1);
    if (*name)
        fprintf(stderr, "zerv-skin: there is no command \"%s\"\n", name);
    print_usage(stderr);
    return status_usage;
}
