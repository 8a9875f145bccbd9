#pragma once

#include <QFile>
#include <QTemporaryDir>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

// Root reads every file whatever its mode (CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH), and the tests
// run as root in CI. Without those two capabilities root meets a file's mode like any owner, so
// a file or folder of mode 000 denies it. Drops them from this thread (and the threads and
// processes it starts from now on) and from the bounding set, so that a child process started
// as root does not get them back. Returns whether a file of mode 000 is now unreadable: true
// for any other user, false only where neither capability could be dropped.
inline bool denyPermissionOverride()
{
    if (geteuid() == 0) {
        constexpr unsigned kDropped[] = {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH};
        for (unsigned cap : kDropped)
            prctl(PR_CAPBSET_DROP, cap, 0, 0, 0); // fails without CAP_SETPCAP: harmless
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct data[2]{};
        if (syscall(SYS_capget, &header, data) == 0) {
            for (unsigned cap : kDropped) {
                data[cap / 32].effective &= ~(1u << (cap % 32));
                data[cap / 32].permitted &= ~(1u << (cap % 32));
                data[cap / 32].inheritable &= ~(1u << (cap % 32));
            }
            syscall(SYS_capset, &header, data);
        }
    }
    QTemporaryDir dir;
    QFile probe(dir.filePath(QStringLiteral("probe")));
    if (!probe.open(QIODevice::WriteOnly))
        return false;
    probe.close();
    probe.setPermissions({});
    return !probe.open(QIODevice::ReadOnly);
}
