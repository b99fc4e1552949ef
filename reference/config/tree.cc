// Placeholder until the library stands.
