#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kiv/api.h"

/// @file
/// Settings as values.

/// The settings of a tape drive that can be set and queried by name of their own, whichever mode page or
/// driver request holds them.
enum ParamType : std::uint32_t {
  PARAM_COMPRESSION = 0,            ///< 0 or 1
  PARAM_BLOCK_LENGTH = 1,           ///< bytes per logical block, 24 bits; 0 for variable length
  PARAM_WRITE_CACHE = 2,            ///< 0 or 1: buffered mode
  PARAM_IMMEDIATE_MODE = 3,         ///< no path supports it
  PARAM_SILI_MODE = 4,              ///< no path supports it
  PARAM_DATA_SAFE_MODE = 36,        ///< 0 or 1
  PARAM_SKIP_SYNC = 37,             ///< 0 or 1
  PARAM_SLEEP_MODE_TIMER = 38,      ///< seconds; 0 switches it off
  PARAM_ARCHIVE_MODE_UNTHREAD = 39  ///< 0 or 1
};

/// How a value is shown. Bool: "Yes"/"No", "On"/"Off", else "true"/"false". Number: as a share of 100 %, as a
/// mode, else in decimal.
enum OutputFormat : std::uint32_t {
  OUTPUT_YES_NO = 2,
  OUTPUT_PERCENT = 3,
  OUTPUT_MODE = 4,
  OUTPUT_ON_OFF = 6
};

///@{
/// A value as its format shows it.
KIV_API std::string decodeParameter(bool value, OutputFormat format);
KIV_API std::string decodeParameter(long value, OutputFormat format);
KIV_API std::string decodeParameter(const std::string& value, OutputFormat format);
///@}

/// One setting as a drive reports it.
class KIV_API ParameterValue {
 public:
  /// What is fixed of a setting; the derived class holds its value.
  ParameterValue(std::string name, ParamType type, bool isChangeable, OutputFormat format);
  virtual ~ParameterValue();

  /// The value as text for people.
  virtual std::string getDecodedValue() const = 0;
  /// A copy, for the caller.
  virtual std::unique_ptr<ParameterValue> clone() const = 0;

  ///@{
  /// The name for people, such as "Compression".
  std::string getParameterName() const { return parameterName; }
  void setParameterName(std::string name) { parameterName = std::move(name); }
  ///@}
  ///@{
  /// What it is, whether a host can set it, and how it is shown.
  ParamType getParameterType() const { return parameterType; }
  bool isChangeable() const { return changeable; }
  OutputFormat getParameterOutputFormat() const { return outputFormat; }
  ///@}

 protected:
  ParameterValue(const ParameterValue&) = default;
  ParameterValue& operator=(const ParameterValue&) = default;

 private:
  std::string parameterName;
  ParamType parameterType;
  bool changeable;
  OutputFormat outputFormat;
};

/// A setting of type bool, long or std::string.
template <typename T>
class ParameterValueTemplate : public ParameterValue {
 public:
  /// A setting with its value.
  ParameterValueTemplate(T initialValue, std::string name, ParamType type, bool isChangeable,
                         OutputFormat format)
      : ParameterValue(std::move(name), type, isChangeable, format), value(std::move(initialValue)) {}

  std::string getDecodedValue() const override { return decodeParameter(value, getParameterOutputFormat()); }
  /// A copy, for the caller.
  std::unique_ptr<ParameterValue> clone() const override {
    return std::make_unique<ParameterValueTemplate>(*this);
  }
  /// The value itself.
  const T& getValue() const { return value; }

 private:
  T value;
};

/// The settings of a drive, in the order in which they were added. Owns its entries.
class KIV_API ParameterVector {
 public:
  ParameterVector();
  ~ParameterVector();
  /// Copies every entry.
  ParameterVector(const ParameterVector& other);
  /// Copies every entry.
  ParameterVector& operator=(const ParameterVector& other);

  /// Takes ownership of the entry.
  void add(ParameterValue* entry);
  /// How many entries there are.
  std::uint32_t getParameterCount() const { return static_cast<std::uint32_t>(entries.size()); }
  /// Null for an index outside the vector.
  ParameterValue* getEntry(std::uint32_t index) const;
  ///@{
  /// How many of them a host can set, or cannot.
  std::uint32_t getChangeableParameterCount() const { return count(true); }
  std::uint32_t getNonChangeableParameterCount() const { return count(false); }
  ///@}
  ///@{
  /// The index of the entry of that kind that has n such entries before it; 0xFFFFFFFF when there is none.
  std::uint32_t getIndexOfChangeableParameter(int n) const { return indexOf(true, n); }
  std::uint32_t getIndexOfNonChangeableParameter(int n) const { return indexOf(false, n); }
  ///@}
  /// Deletes every entry.
  void clearAllParameters();

 private:
  std::uint32_t count(bool changeable) const;
  std::uint32_t indexOf(bool changeable, int n) const;

  std::vector<std::unique_ptr<ParameterValue>> entries;
};
