# What gdb is asked; the answers are in states.txt.
set trace-commands on
# What needs code of the program to run is an error, which ends this.
set may-call-functions off

# The printers came with the library.
info pretty-printer .*libVq.*

# Strings
print empty
print sole
print shared
print reference
print pointer
print *pointer
print quotes
print zeros
print beyondAscii
print longText
print -elements 5 -- letters
print -elements 25 -- letters
print -elements 26 -- letters
print hugeText
print -elements unlimited -- hugeText
set max-value-size unlimited
print -elements unlimited -- hugeText
set max-value-size 65536
print/x shared
print wideEmpty
print wide
print wideZeros
print row
print /r sole.block_
print unset.value
print nowhere.value
print lengthBeyondCapacity.value
print freed.value
print charactersNowhere.value

# Handles
print noFrame
print frame
print still
print stillAsFrame
print constant
print noPoint
print point
print ownPoint
print platformLock
print unsetHandle.value
print handleNowhere.value
print counterNowhere.value

# Identifiers
print invalid
print id

# Pairs and lists
print noPair
print pair
print colon
print control
print together
print noValue
print notSplittable
print unsplit
print parts
print unsetPair.value
print pairOfNowhere.value
print emptyList
print list
print -elements 1 -- list
print numbers
print flags
print unsetList.value
print listOfNowhere.value

# Settings
print noSettings
print settings
print -pretty -- settings
print -elements 3 -- manySections
print -elements unlimited -- manySections
print -elements 4 -- longSection
print -elements unlimited -- longSection
print unsetSettings.value
print zeroSettings.value
print cutSettings.value
print oddSettings.value

# Locks
print freeLock
print named
print deep
print others
print rep
print repPointer
print *repPointer
print unsetLock.value
print noLock.value

# Gates
print freeGate
print oneReader
print threeReaders
print oneWriter
print leftTooOften
print senseless

# Methods that are read rather than called
print sole.length()
print wide.size()
print empty.length()
print pointer->capacity()
print shared.useCount()
print empty.empty()
print sole.empty()
print frame->width
print still->seconds
print (*still).width
print stillAsFrame.get() == &*stillAsFrame
print frame.useCount()
print noFrame.useCount()
print noFrame.get()
print pair.name()
print pair.value()
print list.size()
print list[1]
print numbers[2] + 1

# Limits as gdb before version 13 knows them
python del gdb.print_options
set print elements 4
print letters
set print elements unlimited
print letters
