#pragma once

#include <map>
#include <string>

#include "kiv/api.h"

/// @file
/// Reading `Devlist.txt`: what hosts call each product.

/// The component identifier table: one line of `Devlist.txt` per product, "identifier product", where a
/// product may hold blanks. The lines "AutomationReadyCheck=false" and "LibraryCheck=true" set the global
/// modes.
class KIV_API ComponentId {
 public:
  /// Reads the file; true when it holds at least one entry. Lines that are neither entries nor switches are
  /// logged and skipped, and of two lines for one product the first counts. A listed product that contains
  /// "AutomationReady" sets automationReadyMode again.
  bool initialize(const char* fileName);
  /// 3 not read (not yet, or for want of memory), 0 read with entries, 1 could not be read, 2 read without an
  /// entry.
  unsigned int getStatus() const { return status; }
  /// With a table, whether it lists exactly this product; without a file, whether the product names the
  /// maker.
  bool isValid(const std::string& product) const;
  /// Empty for the maker's products while there is no file. An unlisted product is inserted with an empty
  /// identifier, and counts as listed from then on: ask isValid() first.
  std::string getId4InquiryData(const std::string& product);

 private:
  bool addEntry(std::string line);

  unsigned int status = 3;
  std::map<std::string, std::string> table;
};
