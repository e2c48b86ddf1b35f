# Terminal programs on the board's serial port.
. "$(dirname "$0")/support.sh"
need stty picocom

together 'stty -F /dev/ttyS0 57600 -echo raw && stty -F /dev/ttyS0 speed &&
    stty -F /dev/ttyS0 -a'
expect_line 0 57600
expect_line 0 '.* -icanon .* -echo .*'

alone picocom -b 115200 --exit-after 100 /dev/ttyS0
expect_line 0 'port is        : /dev/ttyS0'
expect_line 0 'baudrate is    : 115200'
expect_line 0 'Terminal ready'

# What one program sets, the next one finds.
together 'picocom -q -r -b 19200 -y e --exit-after 100 /dev/ttyS0 && stty -F /dev/ttyS0 speed'
expect_line 0 19200

# Both ends of the line: what is typed here arrives there, and the other way.
together '
    printf "typed here" | picocom -q -r -b 57600 --exit-after 200 /dev/ttyS0 &&
    "$virtual_board" host uart-receive --at-least 10 && echo && "$virtual_board" get uart.baud_rate'
expect_line 0 'typed here'
expect_line 0 'uart.baud_rate +57600.*'
together '
    picocom -r --exit-after 2000 /dev/ttyS0 >terminal & picocom=$!
    until grep -q "Terminal ready" terminal; do sleep 0.05; done
    "$virtual_board" host uart-send "hello from afar" >/dev/null
    wait "$picocom" && grep -ao "hello from afar" terminal'
expect 0 <<'END'
hello from afar
END

alone stty -F /dev/ttyS1
expect_line 1 'virtual board: no device at /dev/ttyS1'
finish
