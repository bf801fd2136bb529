#include "common/data/Data.h"

#include "common/data/DataHandle.h"
#include "common/data/DataHelper.h"
#include "common/data/Formatter.h"
#include "common/runtime/Log.h"

namespace pwr {

namespace {

void warnWrongType(DataType current, DataType wanted) {
    pwLog(PW_WARNING, "WARNING: Invalid attempt to initialize data of the wrong type (%d != %d)\n",
          static_cast<int>(current), static_cast<int>(wanted));
}

}  // namespace

void Data::init_i(DataType type) {
    m_formatter.reset();
    m_type = type;
    m_valid = false;
    m_set = false;
    m_value.u[0] = 0;
    m_value.u[1] = 0;
    m_helper = DataHelper::forType(type);
    if (m_helper == nullptr) {
        pwLog(PW_WARNING, "WARNING: Unhandled type %u\n", static_cast<unsigned>(type));
        m_helper = DataHelper::forType(DataType::INT);
    }
}

Data::Data() {
    init_i(DataType::NONE);
}
Data::Data(DataType type) {
    init_i(type);
}
Data::Data(const int64_t& value) {
    init_i(DataType::INT);
    setValue(value);
}
Data::Data(const uint64_t& value) {
    init_i(DataType::UINT);
    setValue(value);
}
Data::Data(const double& value) {
    init_i(DataType::REAL);
    setValue(value);
}
Data::Data(const std::string& value) {
    init_i(DataType::STRING);
    setValue(value);
}
Data::Data(const DataHandle& handle) {
    init_i(DataType::HANDLE);
    setValue(handle);
}
Data::Data(int64_t first, int64_t second) : Data(std::make_pair(first, second)) {}
Data::Data(const std::pair<int64_t, int64_t>& value) {
    init_i(DataType::INT_RANGE);
    setValue(value);
}
Data::Data(uint64_t first, uint64_t second) : Data(std::make_pair(first, second)) {}
Data::Data(const std::pair<uint64_t, uint64_t>& value) {
    init_i(DataType::UINT_RANGE);
    setValue(value);
}
Data::Data(double first, double second) : Data(std::make_pair(first, second)) {}
Data::Data(const std::pair<double, double>& value) {
    init_i(DataType::REAL_RANGE);
    setValue(value);
}

Data::Data(const Data& other)
    : m_value(other.m_value),
      m_helper(other.m_helper),
      m_formatter(other.m_formatter ? std::shared_ptr<Formatter>(other.m_formatter->clone())
                                    : nullptr),
      m_string(other.m_string),
      m_type(other.m_type),
      m_valid(other.m_valid),
      m_set(other.m_set) {}

Data::Data(Data&& other) noexcept
    : m_value(other.m_value),
      m_helper(other.m_helper),
      m_formatter(std::move(other.m_formatter)),
      m_string(std::move(other.m_string)),
      m_type(other.m_type),
      m_valid(other.m_valid),
      m_set(other.m_set) {}

Data::~Data() = default;

// Shares the custom formatter with the source: both hold it, the last one
// to go releases it.
Data& Data::operator=(const Data& other) {
    if (this != &other) {
        m_value = other.m_value;
        m_helper = other.m_helper;
        m_formatter = other.m_formatter;
        m_string = other.m_string;
        m_type = other.m_type;
        m_valid = other.m_valid;
        m_set = other.m_set;
    }
    return *this;
}

Data& Data::operator=(Data&& other) noexcept {
    m_value = other.m_value;
    m_helper = other.m_helper;
    m_formatter = std::move(other.m_formatter);
    m_string = std::move(other.m_string);
    m_type = other.m_type;
    m_valid = other.m_valid;
    m_set = other.m_set;
    return *this;
}

bool Data::acceptScalar_i(DataType type) {
    if (m_type == DataType::NONE) {
        init_i(type);
    } else if (m_type != type) {
        warnWrongType(m_type, type);
        m_valid = false;
        return false;
    }
    m_set = true;
    return true;
}

bool Data::acceptExact_i(DataType type) {
    m_set = true;
    if (m_type != type) {
        warnWrongType(m_type, type);
        m_valid = false;
        return false;
    }
    return true;
}

int Data::setValue(const int64_t& value) {
    if (!acceptScalar_i(DataType::INT)) {
        return 1;
    }
    m_value.i[0] = value;
    m_valid = true;
    return 0;
}

int Data::setValue(const uint64_t& value) {
    if (!acceptScalar_i(DataType::UINT)) {
        return 1;
    }
    m_value.u[0] = value;
    m_valid = true;
    return 0;
}

int Data::setValue(const double& value) {
    if (!acceptScalar_i(DataType::REAL)) {
        return 1;
    }
    m_value.d[0] = value;
    m_valid = true;
    return 0;
}

int Data::setValue(const std::string& value) {
    if (!acceptScalar_i(DataType::STRING)) {
        return 1;
    }
    m_string = value;
    m_valid = true;
    return 0;
}

int Data::setValue(const std::pair<int64_t, int64_t>& value) {
    if (!acceptExact_i(DataType::INT_RANGE)) {
        return 1;
    }
    m_value.i[0] = value.first;
    m_value.i[1] = value.second;
    m_valid = true;
    return 0;
}

int Data::setValue(const std::pair<uint64_t, uint64_t>& value) {
    if (!acceptExact_i(DataType::UINT_RANGE)) {
        return 1;
    }
    m_value.u[0] = value.first;
    m_value.u[1] = value.second;
    m_valid = true;
    return 0;
}

int Data::setValue(const std::pair<double, double>& value) {
    if (!acceptExact_i(DataType::REAL_RANGE)) {
        return 1;
    }
    m_value.d[0] = value.first;
    m_value.d[1] = value.second;
    m_valid = true;
    return 0;
}

int Data::setValue(const DataHandle& handle) {
    if (!acceptExact_i(DataType::HANDLE)) {
        return 1;
    }
    m_value.u[0] = handle.getId();
    m_valid = true;
    return 0;
}

int Data::setValue(const Data& other) {
    if (m_type != other.m_type) {
        pwLog(PW_WARNING,
              "WARNING: Invalid attempt to initialize data of the wrong type (%u != %u)\n",
              static_cast<unsigned>(m_type), static_cast<unsigned>(other.m_type));
        m_valid = false;
        return 1;
    }
    *this = other;
    return 0;
}

int Data::setCustomFormatter(const Formatter& formatter) {
    m_formatter.reset(formatter.clone());
    return 0;
}

// Getters: the exact type or a warning; an unset or invalid value fails
// silently. The output is written only on success.
bool Data::readable_i(DataType wanted, const char* message) const {
    if (m_type != wanted) {
        pwLog(PW_WARNING, "%s", message);
        return false;
    }
    return m_set && m_valid;
}

int Data::toInt(int64_t& out) const {
    if (!readable_i(DataType::INT,
                    "WARNING: Attempt to retrieve a signed value from a non-signed type\n")) {
        return 1;
    }
    out = m_value.i[0];
    return 0;
}

int Data::toUInt(uint64_t& out) const {
    if (!readable_i(DataType::UINT,
                    "WARNING: Attempt to retrieve an unsigned value from a non-unsigned type\n")) {
        return 1;
    }
    out = m_value.u[0];
    return 0;
}

int Data::toReal(double& out) const {
    if (!readable_i(DataType::REAL,
                    "WARNING: Attempt to retrieve a real value from a non-real type\n")) {
        return 1;
    }
    out = m_value.d[0];
    return 0;
}

int Data::toIntRange(std::pair<int64_t, int64_t>& out) const {
    if (!readable_i(DataType::INT_RANGE,
                    "WARNING: Attempt to retrieve a non int range value from a int range type\n")) {
        return 1;
    }
    out = std::make_pair(m_value.i[0], m_value.i[1]);
    return 0;
}

int Data::toUIntRange(std::pair<uint64_t, uint64_t>& out) const {
    if (!readable_i(DataType::UINT_RANGE,
                    "WARNING: Attempt to retrieve a non unsigned range value from an unsigned "
                    "range type\n")) {
        return 1;
    }
    out = std::make_pair(m_value.u[0], m_value.u[1]);
    return 0;
}

int Data::toRealRange(std::pair<double, double>& out) const {
    if (!readable_i(DataType::REAL_RANGE,
                    "WARNING: Attempt to retrieve a not double range value from a double range "
                    "type\n")) {
        return 1;
    }
    out = std::make_pair(m_value.d[0], m_value.d[1]);
    return 0;
}

int Data::toString(std::string& out) const {
    if (!readable_i(DataType::STRING,
                    "WARNING: Attempt to retrieve a string from a non-string type\n")) {
        return 1;
    }
    out = m_string;
    return 0;
}

int Data::toHandle(const DataHandle*& out) const {
    if (!readable_i(DataType::HANDLE,
                    "WARNING: Attempt to retrieve handle value from a non-unsigned type\n")) {
        return 1;
    }
    return DataHandle::get(m_value.u[0], out);
}

int Data::toFormattedString(std::string& out) const {
    const Formatter* f = m_formatter ? m_formatter.get() : m_helper->getFormatter();
    return f->format(out, *this);
}

int Data::initZero() {
    return m_helper->initZero(*this);
}
int Data::initMin() {
    return m_helper->initMin(*this);
}
int Data::initMax() {
    return m_helper->initMax(*this);
}
int Data::addValue(const Data& input) {
    return m_helper->addValue(*this, input);
}
int Data::multiplyValue(double factor) {
    return m_helper->multiplyValue(*this, factor);
}

const Data Data::convertToReal(const Data* input) {
    const bool readable = input->m_set && input->m_valid;
    Data result;
    switch (input->m_type) {
        case DataType::REAL:
        case DataType::REAL_RANGE:
            return *input;
        case DataType::INT:
            result.init_i(DataType::REAL);
            if (readable) {
                result.setValue(static_cast<double>(input->m_value.i[0]));
            }
            return result;
        case DataType::UINT:
            result.init_i(DataType::REAL);
            if (readable) {
                result.setValue(static_cast<double>(input->m_value.u[0]));
            }
            return result;
        case DataType::INT_RANGE:
            result.init_i(DataType::REAL_RANGE);
            if (readable) {
                result.setValue(std::make_pair(static_cast<double>(input->m_value.i[0]),
                                               static_cast<double>(input->m_value.i[1])));
            }
            return result;
        case DataType::UINT_RANGE:
            result.init_i(DataType::REAL_RANGE);
            if (readable) {
                result.setValue(std::make_pair(static_cast<double>(input->m_value.u[0]),
                                               static_cast<double>(input->m_value.u[1])));
            }
            return result;
        default:
            pwLog(PW_WARNING, "WARNING: Cannot convert data object to real type\n");
            return *input;
    }
}

bool Data::operator<(const Data& other) const {
    if (m_type != other.m_type) {
        return m_type < other.m_type;
    }
    if (!m_set) {
        return other.m_set;
    }
    if (!m_valid) {
        return other.m_valid;
    }
    return m_helper->lessThan(*this, other);
}

bool Data::operator==(const Data& other) const {
    if (m_type != other.m_type) {
        return false;
    }
    if (!m_set) {
        return !other.m_set;
    }
    if (!m_valid) {
        return !other.m_valid;
    }
    return m_helper->isEqual(*this, other);
}

bool Data::operator!=(const Data& other) const {
    return !(*this == other);
}
bool Data::operator>(const Data& other) const {
    return !(*this < other) && *this != other;
}
bool Data::operator<=(const Data& other) const {
    return !(*this > other);
}
bool Data::operator>=(const Data& other) const {
    if (m_type != other.m_type) {
        return m_type >= other.m_type;
    }
    return !(*this < other);
}

}  // namespace pwr
