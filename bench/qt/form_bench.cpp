// The body that reports a beacon, beside the same made with libcurl's escaping and with Qt's.
#include <bench/figure.h>
#include <bench/minima.h>
#include <curl/curl.h>
#include <korvani/net/form_encoding.h>

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace korvani::bench {
namespace {

const Record kRecord{{"uuid", "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71"},
                     {"major", "0001"},
                     {"minor", "00AB"},
                     {"battery_level", "56"},
                     {"event", "IN_IMMEDIATE_REGION"},
                     {"locale", "fr_FR"},
                     {"device_type", "iOS"},
                     {"device_registration_id", "0F8A2C64-51D7-4B9E-A3C0-7E2D94B1F658"},
                     {"timezone", "+0100"},
                     {"latitude", "48.856613"},
                     {"longitude", "2.352222"},
                     {"user_id", "Zo\xC3\xAB Dupont <zoe@shop.example>"}};

/// Its escaping writes a space as %20, as Qt's does.
std::string curlBody(CURL* curl) {
  std::string body;
  for (const auto& [key, value] : kRecord) {
    if (!body.empty()) body += '&';
    body += key;
    body += '=';
    char* const escaped = curl_easy_escape(curl, value.data(), static_cast<int>(value.size()));
    for (const char* at = escaped; *at != '\0'; ++at) {
      const bool isSpace = at[0] == '%' && at[1] == '2' && at[2] == '0';
      body += isSpace ? '+' : *at;
      if (isSpace) at += 2;
    }
    curl_free(escaped);
  }
  return body;
}

/// As Qt's texts, which a host of Qt would have.
std::vector<std::pair<QByteArray, QString>> qtRecord() {
  std::vector<std::pair<QByteArray, QString>> record;
  for (const auto& [key, value] : kRecord) {
    record.emplace_back(QByteArray::fromStdString(key), QString::fromStdString(value));
  }
  return record;
}

QByteArray qtBody(const std::vector<std::pair<QByteArray, QString>>& record) {
  QByteArray body;
  for (const auto& [key, value] : record) {
    if (!body.isEmpty()) body += '&';
    body += key;
    body += '=';
    body += QUrl::toPercentEncoding(value).replace("%20", "+");
  }
  return body;
}

int run() {
  CURL* const curl = curl_easy_init();
  const auto ofQt = qtRecord();
  const std::string body = httpBodyForParamsDictionary(kRecord);
  if (body != curlBody(curl) || body != qtBody(ofQt).toStdString()) {
    throw std::runtime_error("the bodies differ: " + body);
  }
  measure("kit", [] { return httpBodyForParamsDictionary(kRecord); });
  measure("curl_easy_escape", [curl] { return curlBody(curl); });
  measure("QUrl::toPercentEncoding", [&ofQt] { return qtBody(ofQt); });
  const auto least = runMeasurements();
  for (const char* other : {"curl_easy_escape", "QUrl::toPercentEncoding"}) {
    printRatio("form encoding of a report", least.at("kit"), other, least.at(other), 1.0 / 3, "ns");
  }
  return 0;
}

}  // namespace
}  // namespace korvani::bench

int main() { return korvani::bench::run(); }
