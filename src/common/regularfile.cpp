#include "common/regularfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

bool openRegularFile(QFile &file, const QString &path, QIODevice::OpenMode extraMode)
{
    // Testing the name first and opening it after leaves a gap in which the file can be swapped; the
    // test is made on what was actually opened.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info
    {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) ||
        !file.open(fd, QIODevice::ReadOnly | extraMode, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return false;
    }
    return true;
}
