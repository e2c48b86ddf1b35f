# hwclock on the board's RTC, and on the board's system clock.

# Should a call ever get past the board, it must not set the machine's clock, not
# even for root.
if [ -z "${CLOCK_IS_SAFE:-}" ] && setpriv --bounding-set=-sys_time true 2>/dev/null; then
    CLOCK_IS_SAFE=1 exec setpriv --bounding-set=-sys_time sh "$0" "$@"
fi

. "$(dirname "$0")/support.sh"
need hwclock

rtc='hwclock --noadjfile --utc'
alone $rtc --show
expect_line 0 '(2019-12-31 23:59:59|2020-01-01 00:00:0)[0-9.]*\+00:00'

# There is no update interrupt; the program polls.
alone $rtc --show --verbose
expect_line 0 'ioctl\([0-9]+, RTC_UIE_ON, 0\): Invalid argument'
expect_line 0 'Waiting in loop for time from /dev/rtc0 to change'
expect_line 0 'Time read from Hardware Clock: 2020/01/01 00:00:0[0-9]'

together "$rtc --set --date '2021-03-04 05:06:01' && $rtc --show --rtc /dev/rtc"
expect_line 0 '2021-03-04 05:06:[0-9.]+\+00:00'

together "$rtc --set --date '2021-03-04 05:06:01' && \"\$virtual_board\" get rtc.date"
expect_line 0 'rtc.date +2021-03-04 05:06:[0-9]+.*'
together "\"\$virtual_board\" set rtc.date '2022-05-06 07:08:01' >/dev/null && $rtc --show"
expect_line 0 '2022-05-06 07:08:[0-9.]+\+00:00'

# The system clock that is set is the board's, not the machine's.
before=$(date +%s)
together "
    $rtc --set --date '2021-03-04 05:06:01' && $rtc --hctosys &&
    $rtc --set --date '2030-01-01 00:00:00' && $rtc --systohc && $rtc --show"
expect_line 0 '2021-03-04 05:06:[0-9.]+\+00:00'
after=$(date +%s)
if [ "$after" -lt "$before" ] || [ $((after - before)) -gt 600 ]; then
    complain "the machine's clock went from $before to $after"
fi

alone $rtc --set --date '2021-03-04 05:06:01' --rtc /dev/rtc1
expect_line 1 'virtual board: no device at /dev/rtc1'
finish
