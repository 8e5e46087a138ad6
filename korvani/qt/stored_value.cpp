// Values as marked texts: JSON tells booleans, integers and texts; reals, dates and dictionaries
// are dictionaries of one key that names the kind.
#include <korvani/qt/stored_value.h>

#include <QDateTime>
#include <QMetaType>
#include <charconv>
#include <string_view>
#include <system_error>

namespace korvani::qt {

namespace {

using platform::Value;

constexpr std::string_view kMark = "korvani:";
constexpr std::string_view kReal = "real";
constexpr std::string_view kDate = "date";
constexpr std::string_view kDictionary = "dictionary";

/// The shortest text that reads back as the same number; also of what JSON cannot tell.
std::string realText(double real) {
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, real).ptr;
  return std::string(buffer, end);
}

Value realFromText(const std::string& text) {
  double real = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, real);
  return result.ec == std::errc() && result.ptr == end ? Value(real) : Value();
}

Value marked(const Value& value);

Value markedArray(const Value::Array& array) {
  Value::Array elements;
  for (const Value& element : array) elements.push_back(marked(element));
  return elements;
}

Value markedDictionary(const Value::Dictionary& dictionary) {
  Value::Dictionary entries;
  for (const auto& [key, value] : dictionary) entries.emplace(key, marked(value));
  return Value().with(kDictionary, entries);
}

Value marked(const Value& value) {
  if (const double* real = value.real()) return Value().with(kReal, realText(*real));
  if (const platform::Date* date = value.date()) {
    return Value().with(kDate, date->time_since_epoch().count());
  }
  if (const auto* array = value.array()) return markedArray(*array);
  if (const auto* dictionary = value.dictionary()) return markedDictionary(*dictionary);
  return value;
}

Value unmarked(const Value& value) {
  if (const auto* array = value.array()) {
    Value::Array elements;
    for (const Value& element : *array) elements.push_back(unmarked(element));
    return elements;
  }
  if (const std::string* real = value.at(kReal).text()) return realFromText(*real);
  if (const std::int64_t* date = value.at(kDate).integer()) {
    return platform::Date(std::chrono::milliseconds(*date));
  }
  if (const auto* dictionary = value.at(kDictionary).dictionary()) {
    Value::Dictionary entries;
    for (const auto& [key, entry] : *dictionary) entries.emplace(key, unmarked(entry));
    return entries;
  }
  return value;
}

Value fromText(const QString& stored, const platform::JSONSerialization& json) {
  const std::string text = stored.toStdString();
  if (!text.starts_with(kMark)) return text;
  const Value parsed = json.JSONObjectWithData(std::string_view(text).substr(kMark.size()));
  const auto* array = parsed.array();
  return array != nullptr && array->size() == 1 ? unmarked(array->front()) : Value(text);
}

}  // namespace

QVariant toStored(const Value& value) {
  const std::string* text = value.text();
  if (text != nullptr && !text->starts_with(kMark)) return QString::fromStdString(*text);
  return QString::fromStdString(std::string(kMark) + Value(Value::Array{marked(value)}).jsonText());
}

Value fromStored(const QVariant& stored, const platform::JSONSerialization& json) {
  switch (stored.typeId()) {
    case QMetaType::QString:
      return fromText(stored.toString(), json);
    case QMetaType::Bool:
      return stored.toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
      return stored.toLongLong();
    case QMetaType::UInt:
    case QMetaType::ULongLong:
      return stored.toULongLong();
    case QMetaType::Float:
    case QMetaType::Double:
      return stored.toDouble();
    case QMetaType::QDateTime:
      return platform::Date(std::chrono::milliseconds(stored.toDateTime().toMSecsSinceEpoch()));
    case QMetaType::QStringList: {
      Value::Array texts;
      for (const QString& text : stored.toStringList()) texts.emplace_back(text.toStdString());
      return texts;
    }
    default:
      return stored.canConvert<QString>() ? Value(stored.toString().toStdString()) : Value();
  }
}

}  // namespace korvani::qt
