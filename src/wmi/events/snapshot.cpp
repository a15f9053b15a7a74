#include "wmi/events/snapshot.h"

#include <algorithm>

#include "frame/text.h"
#include "wmi/events/event_classes.h"
#include "wmi/events/event_scope.h"

namespace kvwmi::embedded {
namespace {

const cim::Value kNull;

}  // namespace

Columns::Columns(std::vector<std::size_t> columns, std::size_t all)
    : list_(std::move(columns)), positions_(all, kAbsent) {
  std::sort(list_.begin(), list_.end());
  list_.erase(std::unique(list_.begin(), list_.end()), list_.end());
  for (std::size_t i = 0; i < list_.size(); ++i) positions_[list_[i]] = i;
}

const cim::Value& Record::value(std::size_t column) const {
  const auto position = columns->position(column);
  return position ? values[*position] : kNull;
}

const cim::Value& Side::value(std::size_t slot) {
  if (slot < wql::kFirstSystemSlot) return row_ != nullptr ? row_->get(slot) : record_->value(slot);
  const auto property = static_cast<cim::SystemProperty>(slot - wql::kFirstSystemSlot);
  if (row_ != nullptr) {
    system_ = cim::instance_value(property, *row_, location_);
  } else {
    const auto instance = remembered(*record_, class_);
    system_ = cim::instance_value(property, *instance, location_);
  }
  return system_;
}

std::shared_ptr<cim::Instance> Side::freeze(const std::shared_ptr<const RememberedClass>& schema) const {
  if (row_ == nullptr) return remembered(*record_, schema);
  auto instance = std::make_shared<FrozenInstance>(schema);
  for (std::size_t column = 0; column < schema->schema.properties.size(); ++column) {
    instance->set(column, row_->get(column));
  }
  return instance;
}

const cim::Value& EventRow::value(std::size_t slot) {
  if (slot == kTimeCreatedSlot) return created_;
  if (slot == kEventClassSlot) return class_;
  if (slot < kPreviousSlots) return target_.value(slot);
  return previous_ != nullptr ? previous_->value(slot - kPreviousSlots) : kNull;
}

std::shared_ptr<cim::Instance> remembered(const Record& record,
                                          const std::shared_ptr<const RememberedClass>& schema) {
  auto instance = std::make_shared<FrozenInstance>(schema);
  for (std::size_t i = 0; i < record.values.size(); ++i)
    instance->set(record.columns->list()[i], record.values[i]);
  return instance;
}

std::string key_text(const cim::Value& value) {
  struct Text {
    std::string operator()(std::monostate) const { return "0"; }
    std::string operator()(bool truth) const { return truth ? "T" : "F"; }
    std::string operator()(std::int64_t number) const { return 'n' + std::to_string(number); }
    std::string operator()(std::uint64_t number) const { return 'n' + std::to_string(number); }
    std::string operator()(double number) const { return 'r' + std::to_string(number); }
    std::string operator()(const std::string& text) const { return 's' + fold_case(text); }
    std::string operator()(const cim::Value::Array& elements) const {
      std::string result = "[";
      for (const cim::Value& element : elements) append_key(result, element);
      return result + ']';
    }
    std::string operator()(const std::shared_ptr<cim::Instance>&) const { return "o"; }
  };
  return std::visit(Text{}, value.storage());
}

bool has_key_text(const cim::Property& property) {
  using cim::CimType;
  return !property.is_array() && property.type != CimType::reference && property.type != CimType::datetime &&
         property.type != CimType::object && property.type != CimType::real32 &&
         property.type != CimType::real64;
}

void append_key(std::string& key, const cim::Value& value) {
  const std::string text = key_text(value);
  key += std::to_string(text.size()) + ':' + text;
}

}  // namespace kvwmi::embedded
