// replaced by the engine
