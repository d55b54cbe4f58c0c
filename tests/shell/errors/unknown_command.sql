-- expect: unknown_command.sql:4:1: .tables: unknown command (try .help)
SELECT 1;
-- a comment between statements
.tables
SELECT 'NOT REACHED';
