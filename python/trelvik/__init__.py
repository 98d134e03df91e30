"""The board around the daemon, as the end-to-end tests see it."""
