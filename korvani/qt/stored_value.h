// How a value stands in the settings file, and how it is read back.
#pragma once

#include <korvani/platform/json.h>
#include <korvani/platform/value.h>

#include <QVariant>

namespace korvani::qt {

/// A text stands as itself, so that the host can read it. The file keeps no other kind, so all else
/// is a marked text: "korvani:" and a JSON array of the one value.
QVariant toStored(const platform::Value& value);

/// What another program wrote, or is damaged, is read as the kind that Qt knows it by, at worst as
/// text; null where there is nothing to read.
platform::Value fromStored(const QVariant& stored, const platform::JSONSerialization& json);

}  // namespace korvani::qt
