bluez_monitor.enabled = false
