#pragma once

#include <string>

namespace host {

/// kiv.dll, loaded at run time. While this object lives, everything that kiv's headers declare may be used.
class KivDll {
 public:
  /// Loads the file at `path`, or the kiv.dll beside this program when it is empty. Throws HostError.
  explicit KivDll(const std::string& path);
  ~KivDll();
  KivDll(const KivDll&) = delete;
  KivDll& operator=(const KivDll&) = delete;

  /// To be called before a class of the library is used: throws HostError when the DLL lacks any that its
  /// headers promise. Functions and globals of kiv/kiv.h are always there.
  void requireClasses() const;

 private:
  void bindExports();

  void* module_;
  std::string path_;
  std::string missing_;  ///< an export that the headers promise and the DLL lacks
};

}  // namespace host
