/* file_replace_fixture: a file replaced in one go. */
#pragma once

#include "platform/file/file.h"

#include <cstdio>
#include <string>
#include <vector>

typedef std::vector<std::string> texts;

/* What file_replace_commit() says, or -1 where nothing could be begun. */
inline int replace(const char *path, const std::string &content)
{
    file_replacement *replacement = file_replace_open(path);
    if (!replacement)
        return -1;
    fwrite(content.data(), 1, content.size(), file_replace_stream(replacement));
    return file_replace_commit(replacement);
}
