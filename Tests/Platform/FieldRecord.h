#pragma once

#include "ZRField.h"

struct BaseRecord {
  std::int64_t pkid = 1;
};

/// A field of every type, some of them archived.
struct FieldRecord : BaseRecord {
  bool isVip = false;
  std::int32_t part = 2;
  std::uint64_t size = 3;
  double duration = 4;
  ZRText name{"before"};
  std::optional<std::string> note{"before"};

  static std::span<const ZRField<FieldRecord>> fields() {
    static constexpr ZRField<FieldRecord> table[] = {
        zrField<FieldRecord, &FieldRecord::name>("name", ZRColumnType::None, ZRArchiveWidth::Object),
        zrField<FieldRecord, &FieldRecord::isVip>("isVip", ZRColumnType::None, ZRArchiveWidth::Boolean),
        zrField<FieldRecord, &FieldRecord::part>("part", ZRColumnType::None, ZRArchiveWidth::Int32),
        zrField<FieldRecord, &FieldRecord::pkid>("pkid", ZRColumnType::None, ZRArchiveWidth::Int64),
        zrField<FieldRecord, &FieldRecord::size>("size"),
        zrField<FieldRecord, &FieldRecord::duration>("duration"),
        zrField<FieldRecord, &FieldRecord::note>("note"),
    };
    return table;
  }
};
