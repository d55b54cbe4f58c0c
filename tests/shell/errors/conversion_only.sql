-- expect: conversion_only.sql:2:1: lxk_charset: character set 'AL16UTF16LE' serves conversion only
SELECT lxk_charset('al16utf16le');
SELECT 'NOT REACHED';
