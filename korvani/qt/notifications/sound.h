// The sound that a notification names, among the host's resources.
#pragma once

#include <QDBusUnixFileDescriptor>
#include <QString>

namespace korvani::qt::notifications {

/// The resource of that name, else the file in one of the host's data folders; empty when there is
/// neither.
QString findSound(const QString& name);

/// The file itself, or a copy of the resource in the host's cache folder; empty when there is none.
QString soundOnDisk(const QString& sound);

/// A file in memory of the same content, which may be sealed; invalid when there is none.
QDBusUnixFileDescriptor soundInMemory(const QString& sound);

}  // namespace korvani::qt::notifications
