// The grammar of RFC 3986, appendix A, for URI references.
#include <korvani/platform/url.h>

#include <algorithm>
#include <utility>

namespace korvani::platform {
namespace {

constexpr bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isHex(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
bool isUnreservedOrSubDelimiter(char c) {
  return isAlpha(c) || isDigit(c) ||
         std::string_view("-._~!$&'()*+,;=").find(c) != std::string_view::npos;
}

/// Only unreserved characters, sub-delimiters, percent-encoded bytes and those of `more`?
bool consistsOf(std::string_view text, std::string_view more) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])) return false;
      i += 2;
    } else if (!isUnreservedOrSubDelimiter(text[i]) && more.find(text[i]) == more.npos) {
      return false;
    }
  }
  return true;
}

bool isScheme(std::string_view text) {
  return !text.empty() && isAlpha(text.front()) &&
         std::all_of(text.begin(), text.end(), [](char c) {
           return isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
         });
}

/// Splits at the first `separator`: what stands before it and, after it, what follows.
std::pair<std::string_view, std::optional<std::string_view>> split(std::string_view text,
                                                                   char separator) {
  const std::size_t at = text.find(separator);
  if (at == text.npos) return {text, std::nullopt};
  return {text.substr(0, at), text.substr(at + 1)};
}

bool isIPv4(std::string_view text) {
  int octets = 0;
  for (std::optional<std::string_view> rest = text; rest; ++octets) {
    const auto [octet, after] = split(*rest, '.');
    if (octet.empty() || octet.size() > 3 || !std::all_of(octet.begin(), octet.end(), isDigit) ||
        (octet.size() > 1 && octet.front() == '0') || (octet.size() == 3 && octet > "255")) {
      return false;
    }
    rest = after;
  }
  return octets == 4;
}

/// The number of 16-bit groups in one side of an IPv6 address, −1 when it is malformed. Only the
/// end of the whole address may be an IPv4 address, which counts as two.
int ipv6Groups(std::string_view side, bool atEnd) {
  if (side.empty()) return 0;
  int groups = 0;
  for (std::optional<std::string_view> rest = side; rest; ++groups) {
    const auto [group, after] = split(*rest, ':');
    if (atEnd && !after && isIPv4(group)) return groups + 2;
    if (group.empty() || group.size() > 4 || !std::all_of(group.begin(), group.end(), isHex)) {
      return -1;
    }
    rest = after;
  }
  return groups;
}

bool isIPv6(std::string_view text) {
  const std::size_t gap = text.find("::");
  if (gap == text.npos) return ipv6Groups(text, true) == 8;
  const int left = ipv6Groups(text.substr(0, gap), false);
  const int right = ipv6Groups(text.substr(gap + 2), true);
  return left >= 0 && right >= 0 && left + right <= 7;
}

bool isIPvFuture(std::string_view text) {
  if (text.empty() || (text.front() != 'v' && text.front() != 'V')) return false;
  const auto [version, address] = split(text.substr(1), '.');
  return !version.empty() && std::all_of(version.begin(), version.end(), isHex) && address &&
         !address->empty() && address->find('%') == address->npos && consistsOf(*address, ":");
}

bool isHostAndPort(std::string_view text) {
  std::string_view port;
  if (text.starts_with('[')) {
    const auto [literal, after] = split(text.substr(1), ']');
    if (!after || !(isIPv6(literal) || isIPvFuture(literal))) return false;
    if (!after->empty() && after->front() != ':') return false;
    port = after->empty() ? *after : after->substr(1);
  } else {
    const auto [host, after] = split(text, ':');
    if (!consistsOf(host, "")) return false;
    port = after.value_or("");
  }
  return std::all_of(port.begin(), port.end(), isDigit);
}

bool isAuthority(std::string_view text) {
  const auto [userInfo, hostAndPort] = split(text, '@');
  if (!hostAndPort) return isHostAndPort(text);
  return consistsOf(userInfo, ":") && isHostAndPort(*hostAndPort);
}

bool isURIReference(std::string_view text) {
  const auto [beforeFragment, fragment] = split(text, '#');
  const auto [hierarchy, query] = split(beforeFragment, '?');
  if (!consistsOf(fragment.value_or(""), ":@/?") || !consistsOf(query.value_or(""), ":@/?")) {
    return false;
  }
  std::string_view path = hierarchy;
  // A colon in the first segment ends a scheme: a relative path may not have one there.
  const std::string_view firstSegment = split(path, '/').first;
  if (const auto [scheme, rest] = split(firstSegment, ':'); rest) {
    if (!isScheme(scheme)) return false;
    path.remove_prefix(scheme.size() + 1);
  }
  if (path.starts_with("//")) {
    const std::string_view authority = split(path.substr(2), '/').first;
    if (!isAuthority(authority)) return false;
    path.remove_prefix(2 + authority.size());
  }
  return consistsOf(path, ":@/");
}

}  // namespace

std::optional<URL> URL::URLWithString(std::string_view text) {
  if (!isURIReference(text)) return std::nullopt;
  return URL(text);
}

}  // namespace korvani::platform
