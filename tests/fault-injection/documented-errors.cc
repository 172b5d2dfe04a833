// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "documented-errors.h"

#include <app_control.h>
#include <app_manager.h>
#include <bundle.h>
#include <package_manager.h>
#include <rpc-port.h>
#include <tizen.h>

#include <map>

namespace fault_injection {

namespace {

using Errors = std::vector<int>;

constexpr int kMemory = TIZEN_ERROR_OUT_OF_MEMORY;
constexpr int kParameter = TIZEN_ERROR_INVALID_PARAMETER;
constexpr int kInOut = TIZEN_ERROR_IO_ERROR;
constexpr int kPermission = TIZEN_ERROR_PERMISSION_DENIED;
// Functions that tell of their failure by what they return only.
constexpr int kAny = -1;

const Errors kAppInfo = {kParameter, kMemory, kInOut, APP_MANAGER_ERROR_NO_SUCH_APP,
                         APP_MANAGER_ERROR_DB_FAILED};
const Errors kPackageInfo = {kParameter,
                             kMemory,
                             kInOut,
                             kPermission,
                             PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE,
                             PACKAGE_MANAGER_ERROR_SYSTEM_ERROR};
const Errors kPackageManager = {kParameter, kMemory, kInOut, kPermission,
                                PACKAGE_MANAGER_ERROR_SYSTEM_ERROR};
const Errors kHandle = {kParameter};
const Errors kCreated = {kParameter, kMemory};
const Errors kNever = {};

const std::map<std::string, Errors> kErrors = {
    {"app_control_add_extra_data", {kParameter, kMemory, APP_CONTROL_ERROR_KEY_REJECTED}},
    {"app_control_create", kCreated},
    {"app_control_destroy", kHandle},
    {"app_control_send_launch_request",
     {kParameter, kMemory, kInOut, kPermission, APP_CONTROL_ERROR_APP_NOT_FOUND,
      APP_CONTROL_ERROR_LAUNCH_REJECTED, APP_CONTROL_ERROR_LAUNCH_FAILED,
      APP_CONTROL_ERROR_TIMED_OUT}},
    {"app_control_set_app_id", kCreated},
    {"app_get_data_path", {kMemory, TIZEN_ERROR_INVALID_OPERATION}},
    {"app_info_destroy", kHandle},
    {"app_info_foreach_metadata", kAppInfo},
    {"app_info_get_package", kAppInfo},
    {"app_info_metadata_filter_add", kCreated},
    {"app_info_metadata_filter_create", kCreated},
    {"app_info_metadata_filter_destroy", kHandle},
    {"app_info_metadata_filter_foreach", kAppInfo},
    {"app_manager_get_app_info", kAppInfo},
    {"bundle_create", {BUNDLE_ERROR_OUT_OF_MEMORY}},
    {"bundle_dup", {BUNDLE_ERROR_OUT_OF_MEMORY, BUNDLE_ERROR_INVALID_PARAMETER}},
    {"bundle_free", kHandle},
    {"ecore_init", kNever},
    {"ecore_main_loop_thread_safe_call_sync", kNever},
    {"ecore_shutdown", kNever},
    {"ecore_timer_add", {kAny}},
    {"ecore_timer_del", kNever},
    {"ecore_timer_interval_set", kNever},
    {"ecore_timer_reset", kNever},
    {"package_info_destroy", kHandle},
    {"package_info_foreach_app_from_package", kPackageInfo},
    {"package_info_get_root_path", kPackageInfo},
    {"package_info_is_preload_package", kPackageInfo},
    {"package_manager_create", kPackageManager},
    {"package_manager_destroy", kHandle},
    {"package_manager_get_package_info", kPackageInfo},
    {"package_manager_set_event_cb", kPackageManager},
    {"package_manager_set_event_status", kPackageManager},
    {"rpc_port_parcel_create", kCreated},
    {"rpc_port_parcel_create_from_port", {kParameter, kMemory, kInOut}},
    {"rpc_port_parcel_destroy", kHandle},
    {"rpc_port_parcel_get_header", kHandle},
    {"rpc_port_parcel_header_get_seq_num", kHandle},
    {"rpc_port_parcel_header_set_seq_num", kHandle},
    {"rpc_port_parcel_header_set_tag", kHandle},
    {"rpc_port_parcel_read_bool", kHandle},
    {"rpc_port_parcel_read_bundle", kHandle},
    {"rpc_port_parcel_read_double", kHandle},
    {"rpc_port_parcel_read_int32", kHandle},
    {"rpc_port_parcel_read_string", kHandle},
    {"rpc_port_parcel_send", {kParameter, kInOut}},
    {"rpc_port_parcel_write_bool", kHandle},
    {"rpc_port_parcel_write_bundle", kHandle},
    {"rpc_port_parcel_write_int32", kHandle},
    {"rpc_port_parcel_write_int64", kHandle},
    {"rpc_port_parcel_write_string", kHandle},
    {"rpc_port_stub_add_connected_event_cb", kCreated},
    {"rpc_port_stub_add_disconnected_event_cb", kCreated},
    {"rpc_port_stub_add_privilege", kCreated},
    {"rpc_port_stub_add_received_event_cb", kCreated},
    {"rpc_port_stub_create", {kParameter, kMemory, kInOut}},
    {"rpc_port_stub_destroy", kHandle},
    {"rpc_port_stub_get_port", {kParameter, kInOut}},
    {"rpc_port_stub_listen", {kParameter, kMemory, kInOut, kPermission}},
};

}  // namespace

const std::vector<int>& DocumentedErrors(const std::string& function) {
  return kErrors.at(function);
}

}  // namespace fault_injection
