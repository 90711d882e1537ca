-- Nothing of the machine itself: no sound cards and cameras. Session managers before 0.5 read programs, later ones profiles.
alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
