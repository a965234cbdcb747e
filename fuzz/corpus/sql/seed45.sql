SELECT	*
FROM
fonts;;