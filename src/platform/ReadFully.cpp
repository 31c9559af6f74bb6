#include "ReadFully.h"

#include <cerrno>
#include <sys/types.h>
#include <unistd.h>

size_t ReadFully(int fd, char* buffer, size_t size)
{
    size_t done = 0;
    while (done < size)
    {
        const ssize_t got = read(fd, buffer + done, size - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<size_t>(got);
    }
    return done;
}
