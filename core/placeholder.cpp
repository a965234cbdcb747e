// replaced by the plug-in core
