# SPDX-License-Identifier: Apache-2.0
# Sets GAS_BROWSER_PYTHON where tests may drive a browser: Debian's chromium, chromium-driver and
# python3-selenium, which is the machine's own Python's.
find_program(GAS_CHROMIUM chromium)
find_program(GAS_CHROMEDRIVER chromedriver)
mark_as_advanced(GAS_CHROMIUM GAS_CHROMEDRIVER)
set(GAS_BROWSER_PYTHON)
if(GAS_CHROMIUM AND GAS_CHROMEDRIVER AND EXISTS /usr/bin/python3)
    execute_process(COMMAND /usr/bin/python3 -c "import selenium" RESULT_VARIABLE gas_lacks_selenium
        OUTPUT_QUIET ERROR_QUIET)
    if(gas_lacks_selenium EQUAL 0)
        set(GAS_BROWSER_PYTHON /usr/bin/python3)
    endif()
endif()
