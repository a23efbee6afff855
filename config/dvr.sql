-- The table of recordings in "dvr.db". The system reads its rows by position: 0 is the id, 2 the path.
create table if not exists record (
    id integer primary key, -- given by the database
    name text,              -- node name of the device
    file_path text,         -- full path of the AVI file, in the system's form
    date integer,           -- start date: year * 10000 + month * 100 + day
    time integer,           -- start time, seconds since midnight
    length integer,         -- recorded seconds
    type integer            -- record type given at the start
);
