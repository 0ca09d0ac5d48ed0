-- No hardware, no D-Bus services, nothing remembered on disk.
alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
device_defaults.properties["use-persistent-storage"] = false
stream_defaults.properties["restore-props"] = false
