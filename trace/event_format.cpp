#include "trace/event_format.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>

namespace tarnwick {

namespace {

// The number behind the first `label`.
std::optional<uint32_t> numberAfter(std::string_view text, std::string_view label) {
  const size_t at = text.find(label);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  uint32_t number = 0;
  const char* const end = text.data() + text.size();
  if (std::from_chars(text.data() + at + label.size(), end, number).ec != std::errc{}) {
    return std::nullopt;
  }
  return number;
}

// "unsigned char order" and "char comm[16]" declare order and comm.
bool declares(std::string_view declaration, std::string_view name) {
  const size_t bracket = declaration.find_last_not_of("0123456789]");
  if (declaration.ends_with(']') && bracket != std::string_view::npos &&
      declaration[bracket] == '[') {
    declaration = declaration.substr(0, bracket);
  }
  return declaration.ends_with(name) && declaration.size() > name.size() &&
         declaration[declaration.size() - name.size() - 1] == ' ';
}

// What a record's first field says, its event.
std::optional<uint16_t> parseId(std::string_view format) {
  const std::optional<uint32_t> id = numberAfter(format, "\nID: ");
  const std::optional<EventField> type = parseEventField(format, "common_type");
  if (!id || *id > UINT16_MAX || !type || type->offset != 0 || type->size != sizeof(uint16_t)) {
    return std::nullopt;
  }
  return static_cast<uint16_t>(*id);
}

uint32_t endOf(std::initializer_list<EventField> fields) {
  uint32_t end = sizeof(uint16_t);
  for (const EventField& field : fields) {
    end = std::max(end, field.end());
  }
  return end;
}

}  // namespace

std::optional<EventField> parseEventField(std::string_view format, std::string_view name) {
  constexpr std::string_view kField = "field:";
  constexpr uint32_t kMaxBytes = 1U << 24U;  // sub-buffers are smaller than that
  for (size_t at = 0; (at = format.find(kField, at)) != std::string_view::npos;) {
    at += kField.size();
    const std::string_view line = format.substr(at, format.find('\n', at) - at);
    const std::string_view declaration = line.substr(0, line.find(';'));
    if (!declares(declaration, name)) {
      continue;
    }
    const std::optional<uint32_t> offset = numberAfter(line, "offset:");
    const std::optional<uint32_t> size = numberAfter(line, "size:");
    if (!offset || !size || *offset > kMaxBytes || *size > kMaxBytes ||
        declaration.starts_with("__rel_loc ")) {
      return std::nullopt;
    }
    return EventField{*offset, *size, declaration.starts_with("__data_loc ")};
  }
  return std::nullopt;
}

std::optional<SchedEventFormat> parseSchedEventFormat(std::string_view format,
                                                      SchedEventKind kind) {
  const std::optional<uint16_t> id = parseId(format);
  const std::optional<EventField> comm = parseEventField(format, "comm");
  const std::optional<EventField> pid = parseEventField(format, "pid");
  const std::optional<EventField> value =
      parseEventField(format, kind == SchedEventKind::kRuntime ? "runtime" : "delay");
  if (!id || !comm || !pid || !value || (comm->dynamic && comm->size != sizeof(uint32_t)) ||
      pid->size != sizeof(int32_t) || value->size != sizeof(uint64_t)) {
    return std::nullopt;
  }
  return SchedEventFormat{*id, kind, *comm, *pid, *value, endOf({*comm, *pid, *value})};
}

std::optional<PageCacheEventFormat> parsePageCacheEventFormat(std::string_view format, bool added) {
  const std::optional<uint16_t> id = parseId(format);
  const std::optional<EventField> device = parseEventField(format, "s_dev");
  const std::optional<EventField> inode = parseEventField(format, "i_ino");
  if (!id || !device || !inode || device->size != sizeof(uint32_t) ||
      (inode->size != sizeof(uint32_t) && inode->size != sizeof(uint64_t))) {
    return std::nullopt;
  }
  return PageCacheEventFormat{*id, added, *device, *inode, endOf({*device, *inode})};
}

}  // namespace tarnwick
