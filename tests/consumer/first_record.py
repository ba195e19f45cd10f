"""Records an event, uploads it, and prints the outcome, with nothing but ctypes.

Usage: first_record.py LIBRARY RESOURCES HOME SERVER
"""

import ctypes
import sys

SQM_TEXT_HOME_DIRECTORY, SQM_TEXT_RESOURCE_DIRECTORY = 0, 1
SQM_RECORD_CONNECTION = 1
OUTCOMES = {0: "delivered", 1: "to be sent again", 2: "refused"}


class Delivery(ctypes.Structure):
    _fields_ = [
        ("outcome", ctypes.c_int32),
        ("status", ctypes.c_int32),
        ("shown_status", ctypes.c_int32),
        ("retry_after_seconds", ctypes.c_int64),
        ("address", ctypes.c_char_p),
        ("bytes", ctypes.c_uint64),
        ("reason", ctypes.c_char_p),
    ]


DeliveryCallback = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.POINTER(Delivery))
HANDLES = ("sqm_options_create_recommended", "sqm_host_create", "sqm_manager_create", "sqm_params_create")


def library(path):
    sqm = ctypes.CDLL(path)
    for name in HANDLES:
        getattr(sqm, name).restype = ctypes.c_void_p
    for name in ("sqm_last_error", "sqm_status_name"):
        getattr(sqm, name).restype = ctypes.c_char_p
    return sqm


def main(path, resources, home, server):
    sqm = library(path)
    handle = ctypes.c_void_p

    def check(status):
        if status:
            sys.exit(sqm.sqm_last_error().decode())

    @DeliveryCallback
    def on_delivery(_context, delivery):
        print(f"{OUTCOMES[delivery.contents.outcome]} with status {delivery.contents.status}")

    options = handle(sqm.sqm_options_create_recommended())
    check(sqm.sqm_options_set_text(options, SQM_TEXT_HOME_DIRECTORY, home.encode()))
    check(sqm.sqm_options_set_text(options, SQM_TEXT_RESOURCE_DIRECTORY, resources.encode()))
    check(sqm.sqm_options_on_delivery(options, on_delivery, None))
    host = handle(sqm.sqm_host_create(options))
    check(sqm.sqm_host_make_folders(host))
    manager = handle(sqm.sqm_manager_create(host))
    check(sqm.sqm_manager_set_url(manager, SQM_RECORD_CONNECTION, f"{server}/connection".encode()))
    check(sqm.sqm_manager_set_device_type(manager, ctypes.c_int64(1)))

    attempt = handle(sqm.sqm_params_create())
    check(sqm.sqm_params_set_text(attempt, ctypes.c_int64(6), b"2026-11-21T09:30:00Z"))
    check(sqm.sqm_params_set_text(attempt, ctypes.c_int64(26), "Café & Bar".encode()))
    status = sqm.sqm_params_set_text(attempt, ctypes.c_int64(92), b"x")
    print(f"{sqm.sqm_status_name(status).decode()}: {sqm.sqm_last_error().decode()}")
    check(sqm.sqm_manager_create_start_record(manager, attempt, None))

    check(sqm.sqm_manager_upload(manager))
    is_idle = ctypes.c_bool()
    check(sqm.sqm_host_run_until_idle(host, ctypes.c_int64(60000), ctypes.byref(is_idle)))
    for destroy, each in (("params", attempt), ("host", host), ("manager", manager), ("options", options)):
        getattr(sqm, f"sqm_{destroy}_destroy")(each)
    return 0 if is_idle else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
