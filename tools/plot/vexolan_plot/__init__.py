"""Draws what is in a recording, from what vexolan-info says of it."""
