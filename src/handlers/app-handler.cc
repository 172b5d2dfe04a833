// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/app-handler.h"

#include <app_control.h>

#include <algorithm>
#include <utility>

#include "common/exceptions.h"
#include "common/logging.h"
#include "common/platform-names.h"
#include "handlers/handler-config.h"
#include "handlers/priority.h"
#include "tizen/app-info.h"

namespace handlers {

namespace {

const std::string* FindValue(const std::vector<tizen::AppInfo::MetadataEntry>& metadata,
                             const char* key) {
  const auto found = std::find_if(metadata.begin(), metadata.end(),
                                  [key](const auto& entry) { return entry.first == key; });
  return found != metadata.end() ? &found->second : nullptr;
}

json::Value Copy(const std::string& text, json::PoolAllocator& allocator) {
  return json::Value(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

class AppControl {
 public:
  AppControl() {
    // The platform leaves the handle undefined after an error.
    if (app_control_create(&handle_) != APP_CONTROL_ERROR_NONE) handle_ = nullptr;
  }
  AppControl(const AppControl&) = delete;
  AppControl& operator=(const AppControl&) = delete;
  ~AppControl() {
    if (handle_ != nullptr) app_control_destroy(handle_);
  }

  app_control_h Get() const { return handle_; }

 private:
  app_control_h handle_ = nullptr;
};

}  // namespace

AppHandler::AppHandler(std::string app_id, std::weak_ptr<ipc::ServiceManager> service_manager,
                       PackageConfigs* configs)
    : app_id_(std::move(app_id)), service_manager_(std::move(service_manager)) {
  LoadDataFromManifest(configs);
}

AppHandler::AppHandler(const json::Value& json, std::weak_ptr<ipc::ServiceManager> service_manager)
    : service_manager_(std::move(service_manager)) {
  AppHandler::FromJson(json);
}

void AppHandler::Notify() {
  QOR_FRAME();
  if (app_id_.empty()) return;

  const AppControl request;
  app_control_set_app_id(request.Get(), app_id_.c_str());
  if (app_control_add_extra_data(request.Get(), "Notify", "FetchCommand") !=
      APP_CONTROL_ERROR_NONE) {
    throw FailToSendAppControl(__FILE__, __LINE__, "");
  }
  const int result = app_control_send_launch_request(request.Get(), nullptr, nullptr);
  if (result != APP_CONTROL_ERROR_NONE) {
    QOR_ERROR("Failed to launch app: %s", get_error_message(result));
    throw FailToSendAppControl(__FILE__, __LINE__, "");
  }
}

void AppHandler::FromJson(const json::Value& json) {
  // operator[] asserts that the member exists; FindMember() does not.
  app_id_ = json["appId"].GetString();
  const json::Value& types = json["requestTypes"];
  if (!types.IsArray()) return;
  for (const auto& type : types.GetArray()) {
    if (type.IsString()) AddRequestType(std::string(type.GetString(), type.GetStringLength()));
  }
}

void AppHandler::ToJson(json::Value& out, json::PoolAllocator& allocator) const {
  out.SetObject();
  out.AddMember("appId", Copy(app_id_, allocator), allocator);
  json::Value types(rapidjson::kArrayType);
  for (const auto& type : RequestTypes()) types.PushBack(Copy(type, allocator), allocator);
  out.AddMember("requestTypes", types, allocator);
}

bool AppHandler::Compare(std::shared_ptr<BaseHandler> other) {
  const auto app = std::dynamic_pointer_cast<AppHandler>(other);
  return app && app->Id() == Id();
}

void AppHandler::LoadDataFromManifest(PackageConfigs* configs) {
  const tizen::AppInfo app(app_id_);
  const tizen::PackageInfo package = app.Package();
  const auto metadata = app.Metadata();

  if (const std::string* path = FindValue(metadata, common::kCommandHandlerKey)) {
    PackageConfigs own;
    const auto config = HandlerConfig::FromYaml(package.RootPath() + "/" + *path,
                                                configs != nullptr ? *configs : own);
    for (const auto& type : config.RequestTypes()) AddRequestType(type);
  }

  const DeclaredPriority priority = ReadPriority(FindValue(metadata, common::kPriorityKey));
  if (priority.source == DeclaredPriority::Source::kInvalid) {
    QOR_ERROR("Invalid priority value for the app with id: %s, setting priority to 0",
              app_id_.c_str());
  } else if (priority.source == DeclaredPriority::Source::kMissing) {
    QOR_WARN("Priority key not found for the app with id: %s, setting priority to 0",
             app_id_.c_str());
  }
  SetPriority(priority.value + (package.IsPreloaded() ? kPreloadedBonus : 0));
}

}  // namespace handlers
