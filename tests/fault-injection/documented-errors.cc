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

constexpr int kOutOfMemory = TIZEN_ERROR_OUT_OF_MEMORY;
constexpr int kInvalidParameter = TIZEN_ERROR_INVALID_PARAMETER;
constexpr int kIoError = TIZEN_ERROR_IO_ERROR;
constexpr int kPermissionDenied = TIZEN_ERROR_PERMISSION_DENIED;
// For functions that return a null handle and no error code.
constexpr int kNullResult = -1;

const Errors kAppInfoErrors = {kInvalidParameter, kOutOfMemory, kIoError,
                               APP_MANAGER_ERROR_NO_SUCH_APP, APP_MANAGER_ERROR_DB_FAILED};
const Errors kPackageInfoErrors = {kInvalidParameter,
                                   kOutOfMemory,
                                   kIoError,
                                   kPermissionDenied,
                                   PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE,
                                   PACKAGE_MANAGER_ERROR_SYSTEM_ERROR};
const Errors kPackageManagerErrors = {kInvalidParameter, kOutOfMemory, kIoError, kPermissionDenied,
                                      PACKAGE_MANAGER_ERROR_SYSTEM_ERROR};
const Errors kHandleErrors = {kInvalidParameter};
const Errors kCreateErrors = {kInvalidParameter, kOutOfMemory};
const Errors kNone = {};

const std::map<std::string, Errors> kErrors = {
    {"app_control_add_extra_data",
     {kInvalidParameter, kOutOfMemory, APP_CONTROL_ERROR_KEY_REJECTED}},
    {"app_control_create", kCreateErrors},
    {"app_control_destroy", kHandleErrors},
    {"app_control_send_launch_request",
     {kInvalidParameter, kOutOfMemory, kIoError, kPermissionDenied, APP_CONTROL_ERROR_APP_NOT_FOUND,
      APP_CONTROL_ERROR_LAUNCH_REJECTED, APP_CONTROL_ERROR_LAUNCH_FAILED,
      APP_CONTROL_ERROR_TIMED_OUT}},
    {"app_control_set_app_id", kCreateErrors},
    {"app_get_data_path", {kOutOfMemory, TIZEN_ERROR_INVALID_OPERATION}},
    {"app_info_destroy", kHandleErrors},
    {"app_info_foreach_metadata", kAppInfoErrors},
    {"app_info_get_package", kAppInfoErrors},
    {"app_info_metadata_filter_add", kCreateErrors},
    {"app_info_metadata_filter_create", kCreateErrors},
    {"app_info_metadata_filter_destroy", kHandleErrors},
    {"app_info_metadata_filter_foreach", kAppInfoErrors},
    {"app_manager_get_app_info", kAppInfoErrors},
    {"bundle_create", {BUNDLE_ERROR_OUT_OF_MEMORY}},
    {"bundle_dup", {BUNDLE_ERROR_OUT_OF_MEMORY, BUNDLE_ERROR_INVALID_PARAMETER}},
    {"bundle_free", kHandleErrors},
    {"ecore_init", kNone},
    {"ecore_main_loop_thread_safe_call_sync", kNone},
    {"ecore_shutdown", kNone},
    {"ecore_timer_add", {kNullResult}},
    {"ecore_timer_del", kNone},
    {"ecore_timer_interval_set", kNone},
    {"ecore_timer_reset", kNone},
    {"package_info_destroy", kHandleErrors},
    {"package_info_foreach_app_from_package", kPackageInfoErrors},
    {"package_info_get_root_path", kPackageInfoErrors},
    {"package_info_is_preload_package", kPackageInfoErrors},
    {"package_manager_create", kPackageManagerErrors},
    {"package_manager_destroy", kHandleErrors},
    {"package_manager_get_package_info", kPackageInfoErrors},
    {"package_manager_set_event_cb", kPackageManagerErrors},
    {"package_manager_set_event_status", kPackageManagerErrors},
    {"rpc_port_parcel_create", kCreateErrors},
    {"rpc_port_parcel_create_from_port", {kInvalidParameter, kOutOfMemory, kIoError}},
    {"rpc_port_parcel_destroy", kHandleErrors},
    {"rpc_port_parcel_get_header", kHandleErrors},
    {"rpc_port_parcel_header_get_seq_num", kHandleErrors},
    {"rpc_port_parcel_header_set_seq_num", kHandleErrors},
    {"rpc_port_parcel_header_set_tag", kHandleErrors},
    {"rpc_port_parcel_read_bool", kHandleErrors},
    {"rpc_port_parcel_read_bundle", kHandleErrors},
    {"rpc_port_parcel_read_double", kHandleErrors},
    {"rpc_port_parcel_read_int32", kHandleErrors},
    {"rpc_port_parcel_read_string", kHandleErrors},
    {"rpc_port_parcel_send", {kInvalidParameter, kIoError}},
    {"rpc_port_parcel_write_bool", kHandleErrors},
    {"rpc_port_parcel_write_bundle", kHandleErrors},
    {"rpc_port_parcel_write_int32", kHandleErrors},
    {"rpc_port_parcel_write_int64", kHandleErrors},
    {"rpc_port_parcel_write_string", kHandleErrors},
    {"rpc_port_stub_add_connected_event_cb", kCreateErrors},
    {"rpc_port_stub_add_disconnected_event_cb", kCreateErrors},
    {"rpc_port_stub_add_privilege", kCreateErrors},
    {"rpc_port_stub_add_received_event_cb", kCreateErrors},
    {"rpc_port_stub_create", {kInvalidParameter, kOutOfMemory, kIoError}},
    {"rpc_port_stub_destroy", kHandleErrors},
    {"rpc_port_stub_get_port", {kInvalidParameter, kIoError}},
    {"rpc_port_stub_listen", {kInvalidParameter, kOutOfMemory, kIoError, kPermissionDenied}},
};

}  // namespace

const std::vector<int>& DocumentedErrors(const std::string& function) {
  return kErrors.at(function);
}

}  // namespace fault_injection
