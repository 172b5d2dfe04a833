// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_END_TO_END_EXAMPLE_COPY_H_
#define QOR_TESTS_END_TO_END_EXAMPLE_COPY_H_

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace end_to_end {

// A copy of an example package that a test can modify.
class ExampleCopy {
 public:
  ExampleCopy(const std::string& package, const std::string& folder) : folder_(folder) {
    std::filesystem::copy(package, folder, std::filesystem::copy_options::recursive);
  }

  const std::string& Path() const { return folder_; }

  void Write(const std::string& file, const std::string& text) const {
    std::ofstream(folder_ + "/" + file) << text;
  }
  // Replaces all occurrences in the manifest.
  void Replace(const std::string& old_text, const std::string& new_text) const {
    const std::string file = folder_ + "/tizen-manifest.xml";
    std::ostringstream read;
    read << std::ifstream(file).rdbuf();
    std::string text = read.str();
    for (auto at = text.find(old_text); at != std::string::npos;
         at = text.find(old_text, at + new_text.size())) {
      text.replace(at, old_text.size(), new_text);
    }
    std::ofstream(file) << text;
  }

 private:
  const std::string folder_;
};

}  // namespace end_to_end

#endif
