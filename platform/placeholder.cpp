// replaced by the value model
