// Passwords in connection strings. Tested by secrets_test.cc.
#include "ado/secrets.h"

#include <algorithm>
#include <array>

#include "base/text.h"

namespace pv::ado {
namespace {

constexpr std::string_view kHidden = "***";

std::size_t SkipBlanks(std::string_view text, std::size_t at) {
  while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
  return at;
}

// The value that begins at *at; *at moves to the ";" behind it or to the end.
std::string TakeValue(std::string_view text, std::size_t* at) {
  std::size_t i = SkipBlanks(text, *at);
  const char open = i < text.size() ? text[i] : '\0';
  const char close = open == '{' ? '}' : open == '"' || open == '\'' ? open : '\0';
  std::string value;
  if (close != '\0') {
    for (++i; i < text.size(); ++i) {
      if (text[i] == close) {
        if (i + 1 >= text.size() || text[i + 1] != close) break;
        ++i;
      }
      value += text[i];
    }
    *at = std::min(text.find(';', i), text.size());
    return value;
  }
  *at = std::min(text.find(';', i), text.size());
  return std::string(TrimBlanks(text.substr(i, *at - i)));
}

std::string Replaced(std::string text, std::string_view what, std::string_view with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

// Whether the strings of this kind quote with braces; those that name an OLE DB provider, and are
// not handed on to a driver, quote with quotes.
bool QuotesWithBraces(std::string_view connection) {
  const auto provider = ConnectionValue(connection, {"Provider"});
  return !provider || EqualsIgnoreCase(*provider, "MSDASQL");
}

std::string PasswordPart(std::string_view connection, std::string_view password) {
  if (QuotesWithBraces(connection)) {
    return "PWD={" + Replaced(std::string(password), "}", "}}") + "}";
  }
  return "Password=\"" + Replaced(std::string(password), "\"", "\"\"") + "\"";
}

}  // namespace

std::vector<ConnectionPart> ConnectionParts(std::string_view connection) {
  std::vector<ConnectionPart> parts;
  std::size_t at = 0;
  while (at < connection.size()) {
    const std::size_t begin = SkipBlanks(connection, at);
    const std::size_t stop = connection.find_first_of("=;", begin);
    if (stop == std::string_view::npos || connection[stop] == ';') {
      // No value: nothing that a driver takes.
      at = stop == std::string_view::npos ? connection.size() : stop + 1;
      continue;
    }
    ConnectionPart part;
    part.key = TrimBlanks(connection.substr(begin, stop - begin));
    part.begin = begin;
    at = stop + 1;
    part.value = TakeValue(connection, &at);
    part.end = at;
    ++at;
    parts.push_back(std::move(part));
  }
  return parts;
}

bool IsPasswordKey(std::string_view key) {
  constexpr std::array<std::string_view, 6> kKeys = {
      "pwd", "password", "passwd", "pass", "jet oledb:database password", "sslpassword"};
  return std::any_of(kKeys.begin(), kKeys.end(),
                     [&](std::string_view known) { return EqualsIgnoreCase(key, known); });
}

std::optional<std::string> ConnectionValue(std::string_view connection,
                                           std::initializer_list<std::string_view> keys) {
  for (const ConnectionPart& part : ConnectionParts(connection)) {
    for (const std::string_view key : keys) {
      if (EqualsIgnoreCase(part.key, key)) return part.value;
    }
  }
  return std::nullopt;
}

std::string Redacted(std::string_view connection) {
  std::string result(connection);
  const std::vector<ConnectionPart> parts = ConnectionParts(connection);
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    if (!IsPasswordKey(part->key)) continue;
    const std::size_t value = connection.find('=', part->begin) + 1;
    result.replace(value, part->end - value, kHidden);
  }
  return result;
}

std::string WithoutSecrets(std::string text, std::string_view connection) {
  for (const ConnectionPart& part : ConnectionParts(connection)) {
    if (!IsPasswordKey(part.key) || part.value.empty()) continue;
    text = Replaced(std::move(text), part.value, kHidden);
    // As it is written there, with what doubles in it doubled.
    const std::size_t value = connection.find('=', part.begin) + 1;
    const std::string_view written = TrimBlanks(connection.substr(value, part.end - value));
    if (written.size() > 2) text = Replaced(std::move(text), written, kHidden);
  }
  return text;
}

std::string WithoutPassword(std::string_view connection) {
  std::string result(connection);
  const std::vector<ConnectionPart> parts = ConnectionParts(connection);
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    if (!IsPasswordKey(part->key)) continue;
    const bool more = part->end < result.size();
    result.erase(part->begin, part->end - part->begin + (more ? 1 : 0));
  }
  return result;
}

std::string WithPassword(std::string_view connection, std::string_view password) {
  std::string result = WithoutPassword(connection);
  while (!result.empty() && (result.back() == ' ' || result.back() == ';')) result.pop_back();
  if (!result.empty()) result += ';';
  return result + PasswordPart(connection, password) + ";";
}

}  // namespace pv::ado
