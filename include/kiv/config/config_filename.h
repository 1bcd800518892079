#pragma once

#include <map>
#include <string>
#include <string_view>

#include "kiv/api.h"

/// @file
/// Reading `Config.txt`: the image and the level of each product.

/// What `Config.txt` says of one product: the firmware image file and the firmware level that it brings.
class KIV_API ConfigEntry {
 public:
  ///@{
  /// The image file and the level; empty at first.
  std::string getFilename() const { return filename; }
  std::string getUCodeLevel() const { return uCodeLevel; }
  void setFilename(const std::string& name) { filename = name; }
  void setUCodeLevel(const std::string& level) { uCodeLevel = level; }
  ///@}

 private:
  std::string filename;
  std::string uCodeLevel;
};

/// The firmware file table: one line of `Config.txt` per product, "product file level", where a level may
/// hold blanks. Products are matched exactly.
class KIV_API ConfigFilename {
 public:
  /// Reads the file; true when it holds at least one entry. Lines that are not entries are logged and
  /// skipped, and of two lines for one product the first counts. A second call adds to the table.
  bool initialize(const char* fileName);
  /// 3 not read (not yet, or for want of memory), 0 read with entries, 1 could not be read, 2 read without an
  /// entry.
  unsigned int getStatus() const { return status; }
  /// Whether the table lists this product.
  bool isValid(const std::string& productId) const { return table.contains(productId); }
  ///@{
  /// An unlisted product is inserted with empty values, and is valid from then on: ask isValid() first.
  std::string getFilename4ProductId(const std::string& productId) { return table[productId].getFilename(); }
  std::string getUCodeLevel4ProductId(const std::string& productId) {
    return table[productId].getUCodeLevel();
    ///@}
  }

 private:
  bool addEntry(std::string_view line);

  unsigned int status = 3;
  std::map<std::string, ConfigEntry> table;
};
