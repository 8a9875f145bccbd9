#pragma once

#include <QFile>
#include <QTemporaryDir>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

// Root reads every file whatever its mode (CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH), and CI runs
// the tests as root. Drops both from this thread and the threads it starts from now on; whether
// a file of mode 000 is now unreadable (false only where they could not be dropped).
inline bool denyPermissionOverride()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    if (syscall(SYS_capget, &header, data) == 0) {
        for (unsigned cap : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
            data[0].effective &= ~(1u << cap);
        syscall(SYS_capset, &header, data);
    }
    QTemporaryDir dir;
    QFile probe(dir.filePath(QStringLiteral("probe")));
    if (!probe.open(QIODevice::WriteOnly))
        return false;
    probe.close();
    probe.setPermissions({});
    return !probe.open(QIODevice::ReadOnly);
}
