"""What tools/zerv-package is made of."""
