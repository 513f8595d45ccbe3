#include "SharedComponents/Exchange/ExchangeRecord.h"

#include <utility>

#include "SharedComponents/KeyedArchive/KeyedArchiver.h"

namespace corvane {

Result<std::string> ExchangeRecord::archive(ExchangeRecord record, std::size_t limit) {
  Dictionary root;
  root.reserve(3);
  root.append("id", std::move(record.id));
  root.append("name", std::move(record.name));
  root.append("body", record.body ? Value(std::move(*record.body)) : Value());
  return KeyedArchiver::archive(std::move(root), limit);
}

std::optional<ExchangeRecord> ExchangeRecord::fromValue(Value root) {
  auto* dictionary = root.as<Dictionary>();
  if (dictionary == nullptr) return std::nullopt;
  auto* id = dictionary->find<std::string>("id");
  auto* name = dictionary->find<std::string>("name");
  if (id == nullptr || name == nullptr) return std::nullopt;
  ExchangeRecord record{std::move(*id), std::move(*name), std::nullopt};
  if (auto* body = dictionary->find<Dictionary>("body")) record.body = std::move(*body);
  return record;
}

}  // namespace corvane
