#pragma once

#include "mediaengine.h"

// Why a file did not play, in the Portuguese the error banner shows. libmpv's own error texts are
// English and terse; these ask the file itself first.

// A playlist, manifest or edit list named like a video: refused, never followed.
MediaError playlistError();
// A pipe, socket or device named like a video: never handed to a core.
MediaError specialFileError();

// Whether the file at `path` is a pipe, a socket or a device (links followed): the core would wait
// for a pipe's writer for good, or read a device without end. Blocks on the file system.
bool isSpecialFile(const QString &path);

// The error for a file that did not load with mpv's error code `mpvError`. A vanished or
// unreadable file says so, whatever the demuxer made of it; a file the process may not read is a
// permission error. Blocks on the file system: call it on a disk job.
MediaError describeFailure(const QString &path, int mpvError);
