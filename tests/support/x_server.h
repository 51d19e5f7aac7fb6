/* x_server: an X display in memory for a test program, started at its first use. */
#pragma once

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

class x_server
{
  public:
    x_server()
    {
        int answer[2];
        if (pipe(answer) != 0)
            return;
        process = fork();
        if (process == 0) {
            close(answer[0]);
            const std::string to = std::to_string(answer[1]);
            /* Between two tests nobody is connected, which would make it begin anew. */
            execlp("Xvfb", "Xvfb", "-noreset", "-screen", "0", "1400x1000x24", "-displayfd",
                   to.c_str(), "-nolisten", "tcp", nullptr);
            _exit(127);
        }
        close(answer[1]);
        read_name(answer[0]);
        close(answer[0]);
    }
    ~x_server()
    {
        if (process <= 0)
            return;
        kill(process, SIGTERM);
        while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    x_server(const x_server &) = delete;
    x_server &operator=(const x_server &) = delete;

    std::string name; /* for DISPLAY; empty when no display came up */

  private:
    void read_name(int from)
    {
        std::string number;
        for (char sign = 0; read(from, &sign, 1) == 1 && sign != '\n';)
            number += sign;
        if (!number.empty())
            name = ":" + number;
    }

    pid_t process = -1;
};
