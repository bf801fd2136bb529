// The per-type behaviour of Data: one stateless helper object per DataType.
//
// Data delegates accumulation, scaling, start values, comparison and its
// default formatter to the helper of its type. Each helper exists once, for
// the whole process, and holds its type's default formatter. Internal to the
// library: users go through Data.
#pragma once

#include "common/data/Data.h"
#include "common/data/Formatter.h"

namespace pwr {

class DataHelper {
  public:
    virtual ~DataHelper();
    virtual int initZero(Data& target) const;
    virtual int addValue(Data& target, const Data& input) const;
    virtual int multiplyValue(Data& target, double factor) const;
    virtual int initMax(Data& target) const;
    virtual int initMin(Data& target) const;
    virtual bool lessThan(const Data& a, const Data& b) const = 0;
    virtual bool isEqual(const Data& a, const Data& b) const = 0;
    virtual const Formatter* getFormatter() const = 0;

    // The helper of a type; null for a number outside the enumeration.
    static const DataHelper* forType(DataType type);
};

}  // namespace pwr
