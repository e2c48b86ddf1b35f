// sysfs GPIO files: the three routines that every GPIO access goes through.
#ifndef BRINGUP_GPIO_FILES_H
#define BRINGUP_GPIO_FILES_H

namespace board_hal {

constexpr char gpio_export_path[] = "/sys/class/gpio/export";

// Each returns 0, or -1 after a message when an argument is null or the file
// cannot be opened. What the write or read itself answers is not looked at.

// Appends the number of a line to the export file.
int gpio_export_write(const char *path, const char *text);
// Writes a line's direction or value.
int gpio_line_write(const char *path, const char *text);
// Reads the first character of a line's value.
int gpio_line_read(const char *path, char *level);

} // namespace board_hal

#endif
